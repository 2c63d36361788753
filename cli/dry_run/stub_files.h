#pragma once

// Files of the stubs in the sandbox.

// The recorded calls: for each call, the number of its words and the words, each followed by a zero byte.
inline constexpr char kStubCalls[] = "/.sandbox/commands";

// The active services, one per line.
inline constexpr char kStubServices[] = "/.sandbox/services";
