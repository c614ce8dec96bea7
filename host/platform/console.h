// The three standard streams of the program.
#pragma once

#include <cstddef>
#include <string_view>

namespace ostria::host {

enum class Stream { Input, Output, Error };

/// Whether somebody sits before the stream.
bool isConsole(Stream stream);

/// Whether the stream is a console that follows control sequences: colours, an erased line.
bool followsControls(Stream stream);

/// Width in columns; 0 when it is not known.
std::size_t consoleColumns(Stream stream);

/// Writes everything, waiting where the reader is slow.
/// @return 0, or the system's error number; EPIPE when nobody reads any more
int writeStream(Stream stream, std::string_view text);

enum class ByteRead { Byte, Nothing, End };

/// Waits a tenth of a second at most for one byte of standard input.
ByteRead readInputByte(char& byte);

/// Throws away what was typed before anybody asked. Input that is no console is kept.
void discardTypedInput();

/// Opens the standard streams that the program was started without. To be called before anything
/// else is opened: a disk or a report must never get the number that output goes to.
void holdStandardStreams();

}  // namespace ostria::host
