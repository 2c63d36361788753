#pragma once

// The Differentiated Services classes by name.

#include <map>
#include <string>

#include "config/network_context.h"

// Class name to the value of the whole traffic-class byte: the code point, shifted left over the two ECN
// bits. There is no entry for the default class; names are case-sensitive.
std::map<std::string, int> dscp_class_table();

// Looks up the class names that the traffic filter of the first quality-of-service policy lists. Has no
// effect, since nothing uses the values yet; always 0. For callers of the library: no action calls this.
int qos_lookup_dscp_classes(const NetworkContext* ctx);
