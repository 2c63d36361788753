#pragma once

// Reads the configuration: the basic rules shared by all generators. Objects and arrays are read in place:
// the configuration may be large, and copies in loops would make the time of a run quadratic.

#include <json/json.h>

#include <optional>
#include <string>
#include <string_view>

// The dotted paths of the "network" object of a wired port and of an access point.
std::string wired_network_path(std::string_view ifname);
std::string access_point_network_path(std::string_view ifname);

// Whether the boolean at the dotted `path` below `object` exists and is true.
bool is_true(const Json::Value& object, std::string_view path);

// Whether an object is enabled: one without "enable" is not.
bool is_enabled(const Json::Value& object);

// Whether an element of "static_routes" is enabled and names an interface; stores the name.
bool get_static_route_interface(const Json::Value& route, std::string& ifname);

// Whether an element of "static_routes" is enabled and uses the interface `ifname`.
bool is_static_route_of(const Json::Value& route, const std::string& ifname);

// Whether the string is long enough for a dotted IPv4 address, of which 0.0.0.0 is the shortest. Does not
// check its syntax.
bool looks_like_address(const std::string& text);

// Whether an element of a list of names has a string form: all values except arrays and objects do.
bool has_text(const Json::Value& value);

// Returns the string form of such an element: a string unchanged, a number or a boolean as in JSON, null as
// an empty string. Returns an empty string for an array or an object.
std::string text_of(const Json::Value& value);

// Returns the string, or the integer, at the dotted `path` below `object`; nothing if there is none. The
// platform decides which values are strings or integers.
std::optional<std::string> string_at(const Json::Value& object, std::string_view path);
std::optional<int> number_at(const Json::Value& object, std::string_view path);

// Returns the address of an element of "dns.static"; empty if the element is ignored because it is too short
// for an address.
std::string name_server_of(const Json::Value& server);

// Returns the object at the dotted `path` below `object`, read in place; null if it is missing.
const Json::Value* object_at(const Json::Value& object, std::string_view path);

// Returns the array at the dotted `path` below `object`, read in place; null, which has no elements either,
// if it is missing. `path` is a view because a compiler that warns of dangling references assumes that the
// result is a part of any temporary passed by reference.
const Json::Value& array_at(const Json::Value& object, std::string_view path);
