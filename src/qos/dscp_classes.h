#pragma once

// The Differentiated Services classes by name.

#include <map>
#include <string>

#include "config/network_context.h"

// The value of the complete traffic-class byte by class name: the code point, shifted left over the two ECN
// bits. There is no entry for the default class; names are case-sensitive.
std::map<std::string, int> dscp_class_table();

// Looks up the class names in the traffic filter of the first quality-of-service policy. Has no effect, since
// nothing uses the values yet; always returns 0. For callers of the library: no action calls this.
int qos_lookup_dscp_classes(const NetworkContext* ctx);
