#pragma once

// What the stubs have in the sandbox.

// What they record: of each call the number of its words, and each word with a zero byte behind it.
inline constexpr char kStubCalls[] = "/.sandbox/commands";

// The active services, one a line.
inline constexpr char kStubServices[] = "/.sandbox/services";
