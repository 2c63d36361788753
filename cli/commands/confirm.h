#pragma once

// `lanfab confirm`: makes the configuration on trial the installed one.

// Returns the exit status: 0 when it is, 1 when there is no trial to confirm, 2 when it cannot be done, or is
// not known to have reached the disk.
int confirm();
