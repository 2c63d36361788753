#pragma once

// The system database of the sandbox.

#include <map>
#include <string>

// All entries: KEY, or DATABASE/KEY, and value. None while there is no database.
std::map<std::string, std::string> read_database();
