#pragma once

// The messages of the Language Server Protocol: JSON-RPC 2.0, each preceded by a header with its length.

#include <json/json.h>

#include <istream>
#include <optional>
#include <ostream>
#include <string>

// Reads the body of the next message. Returns nullopt at the end of the input, and for a header without a
// usable length, since the next message cannot be located then.
std::optional<std::string> read_message(std::istream& input);

void write_message(std::ostream& output, const Json::Value& message);

// Error codes of JSON-RPC and of the protocol.
enum class ErrorCode { kParseError = -32700, kMethodNotFound = -32601, kNotInitialized = -32002 };

Json::Value response(const Json::Value& id, Json::Value result);
Json::Value error_response(const Json::Value& id, ErrorCode code, const std::string& message);
Json::Value notification(const std::string& method, Json::Value parameters);
