// A program that crashes says where and ends with a code of its own. Wine's debugger would end it with success.
#pragma once

namespace zorvan::test {

constexpr unsigned kCrashExitCode = 87;

void reportCrashes();

} // namespace zorvan::test
