#pragma once

// What a trial keeps in /run/lanfab for its end: space, and marks of how far the end is.

// Reserves the space in /run that a rollback needs. False, with errno set, when /run has no room.
bool reserve_space();

// Whether the space is still reserved.
bool has_reserve();

// Frees that space. From now on nobody restores a file of the trial that is missing.
void mark_end();

// Whether somebody has begun to end the trial.
bool is_end_marked();

// Marks that an attempt to roll back has failed. Returns whether it is the first one.
bool mark_failure();

// Removes that mark.
void forget_failure();

bool has_failed();

// Removes what the functions above have made.
void remove_marks();
