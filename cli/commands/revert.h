#pragma once

// `lanfab revert`: takes a trial back or, when there is none, the confirmation of the last one.

struct RevertOptions {
  bool yes = false;       // put the previous configuration back without asking
  bool by_timer = false;  // this is the service that the timer starts
};

// Ends the trial, unless it has ended, and says what is in force. Returns the exit status: 0, or 2 when the
// old configuration is not in force yet.
int end_trial();

// Returns the exit status: 0 when the former configuration is in force, 1 when it is not or there is none, 2
// when this process cannot do it.
int revert(const RevertOptions& options);
