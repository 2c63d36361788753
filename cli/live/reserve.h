#pragma once

// Space that a trial reserves in /run/lanfab for its rollback, and marks of the progress of its end.

// Reserves the space in /run that a rollback needs. False, with errno set, when /run has no room.
bool reserve_space();

// Whether the space is still reserved.
bool has_reserve();

// Frees that space, and marks that the end has begun: the guard restores no files any more.
void mark_end();

// Whether the end of the trial has begun.
bool is_end_marked();

// Marks that an attempt to roll back has failed. Returns whether it is the first one.
bool mark_failure();

// Removes that mark.
void forget_failure();

bool has_failed();

// Removes the space and the marks.
void remove_marks();
