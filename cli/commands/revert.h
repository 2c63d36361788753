#pragma once

// `lanfab revert`: takes a trial back or, when there is none, the confirmation of the last one.

// Ends the trial, unless it has ended, and says what is in force. Returns the exit status: 0, or 2 when the
// old configuration is not in force yet.
int end_trial();
