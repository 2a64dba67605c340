// What the standard streams are connected to.
#pragma once

namespace tools::system {

enum class Stream { kOutput, kError };

// True if the stream goes to a terminal, and not to a file or another program.
bool IsTerminal(Stream stream);

// True if the stream is a terminal that shows colours by ANSI escape sequences, unless the user
// refuses them (the environment variable NO_COLOR is set and not empty). Turns the sequences on
// where the terminal needs that.
bool TakesColours(Stream stream);

// The width of standard output's terminal in columns; 80 if it isn't a terminal.
unsigned TerminalWidth();

// Makes standard input deliver every byte unchanged. Windows changes line ends by default. Call it
// before the first read.
void ReadBinaryInput();

// Makes a Windows console show the program's output as UTF-8. Call it first in main.
void WriteUtf8ToConsole();

}  // namespace tools::system
