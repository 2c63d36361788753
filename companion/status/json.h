#pragma once

// The same for programs.

#include <json/json.h>

#include <vector>

#include "companion/status/differences.h"
#include "companion/status/look.h"

Json::Value json_of(const Look& look, const std::vector<Difference>& differences);
