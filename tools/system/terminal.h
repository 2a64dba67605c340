// What the standard streams are connected to.
#pragma once

namespace tools::system {

enum class Stream { kOutput, kError };

// True if a person is looking at the stream, and not a file or another program.
bool IsTerminal(Stream stream);

// True if the stream is a terminal that shows colours by ANSI escape sequences and the user hasn't
// refused them (the environment variable NO_COLOR is set and not empty). Where the terminal has to
// be told first, this tells it.
bool TakesColours(Stream stream);

// The width of the terminal behind standard output in columns; 80 where there is none.
unsigned TerminalWidth();

// Makes a console show what is written to it as UTF-8, where that isn't its nature. Call it first
// thing in main.
void WriteUtf8ToConsole();

}  // namespace tools::system
