#pragma once

#include <ctime>
#include <string>

// The time in the local time zone: "2026-11-21 20:00:00".
std::string time_text(std::time_t time);
