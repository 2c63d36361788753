#pragma once

// `lanfab status`: whether the gateway is as the last run wanted it.

struct StatusOptions {
  bool watch = false;
  bool json = false;
  bool messages = false;  // show what the runs wrote to the system log, too
};

// Prints what there is, with the differences marked. Returns the exit status: 0 when there is none, 1 when
// there is one, be it that something is still coming, 2 when there is nothing to see. A watch ends with that
// of its last look.
int status(const StatusOptions& options);
