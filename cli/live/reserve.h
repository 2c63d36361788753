#pragma once

// Space reserved in /run/lanfab for the rollback of a trial, and marks that record the progress of its end.

// Reserves the space in /run that a rollback needs. Returns false and sets errno if /run is full.
bool reserve_space();

// Whether the space is still reserved.
bool has_reserve();

// Frees the reserved space and marks that the end of the trial has begun: the guard then stops restoring
// files.
void mark_end();

// Whether the end of the trial has begun.
bool is_end_marked();

// Marks that a rollback attempt has failed. Returns whether it is the first one that failed.
bool mark_failure();

// Removes the mark of a failed rollback attempt.
void forget_failure();

// Whether a rollback attempt has failed.
bool has_failed();

// Removes the reserved space and all marks.
void remove_marks();
