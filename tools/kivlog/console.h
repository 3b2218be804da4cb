// What differs between systems in how kivlog meets its console and its output files: the
// command line's encoding, the console's code page, how an export file is opened.
// console_posix.cc and console_win32.cc.
#pragma once

#include <string>

namespace kivlog {

// Makes the command line UTF-8, as everything in kivlog is, and has the console show UTF-8
// output. On POSIX both already are.
void UseUtf8Console(int& argc, char**& argv);

// Opens (creates or empties) a file to write an export to, by its UTF-8 name; -1 when it cannot.
// On Windows the file is a text file: each LF written becomes CR LF, as on the console.
int OpenOutputFile(const std::string& path);

}  // namespace kivlog
