#pragma once

// `lanfab revert`: rolls back a trial or, without one, restores the configuration before the last one.

// Rolls back the trial, unless it has ended, and reports which configuration is active. Returns the exit
// status: 0, 1 when the trial had been confirmed, or 2 when the old configuration is not active yet.
int end_trial();
