#pragma once

// Removes the lock file of a run of cmd_lanfab that was killed: every later run would wait for ever. A lock
// that a run holds, or may hold, stays.
void remove_stale_lock();
