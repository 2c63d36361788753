#pragma once

// Reading the configuration: the small rules that every generator applies, each in one place. Objects and
// arrays are read where they stand; the configuration may be large, and a copy in a loop would make a run's
// time grow with its square.

#include <json/json.h>

#include <optional>
#include <string>
#include <string_view>

// The dotted paths of the "network" object of a wired port and of an access point.
std::string wired_network_path(std::string_view ifname);
std::string access_point_network_path(std::string_view ifname);

// Whether the boolean at the dotted `path` below `object` exists and is true.
bool is_true(const Json::Value& object, std::string_view path);

// The "enable" rule: an object without "enable" is disabled.
bool is_enabled(const Json::Value& object);

// Whether an element of "static_routes" is enabled and names an interface; stores the name.
bool get_static_route_interface(const Json::Value& route, std::string& ifname);

// Whether it is enabled and on the interface `ifname`.
bool is_static_route_of(const Json::Value& route, const std::string& ifname);

// Whether the text is long enough for a dotted IPv4 address, the shortest being 0.0.0.0. Its syntax is not
// checked.
bool looks_like_address(const std::string& text);

// Whether an element of a list of names has a text: every value has but an array and an object.
bool has_text(const Json::Value& value);

// Its text: a string as it is, a number or a truth value as JSON writes it, null as the empty text. Empty for
// a value that has no text.
std::string text_of(const Json::Value& value);

// The string, or the integer, at the dotted `path` below `object`; nothing when there is none. The platform
// decides what is one.
std::optional<std::string> string_at(const Json::Value& object, std::string_view path);
std::optional<int> number_at(const Json::Value& object, std::string_view path);

// The text of an element of "dns.static"; empty when it is left out, being too short for an address.
std::string name_server_of(const Json::Value& server);

// The object at the dotted `path` below `object`, read in place; null when it is missing.
const Json::Value* object_at(const Json::Value& object, std::string_view path);

// The array at the dotted `path` below `object`, read in place; null, which has no elements either, when it
// is missing. `path` is a view because a compiler that warns of dangling references takes the result for a
// part of any temporary that the function gets by reference.
const Json::Value& array_at(const Json::Value& object, std::string_view path);
