// Standard output and standard error: UTF-8 into files and pipes, UTF-16 onto a terminal.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace portwright::console {

enum class Stream { Output, Error };

// To standard output. Throws when it cannot be written, for instance because the disk is full.
void print(std::string_view text);
// To standard error; what cannot be written there is lost, as there is nowhere left to say so.
void complain(std::string_view text);

bool isTerminal(Stream stream);
// Columns of the terminal; none when the stream is a file or a pipe.
std::optional<std::size_t> width(Stream stream);

// In bold on a terminal, unless the variable NO_COLOR is set; as it is elsewhere.
std::string emphasised(Stream stream, std::string_view text);

// One line from standard input, without echo when that is a terminal.
std::string readPassword(std::string_view prompt);

} // namespace portwright::console
