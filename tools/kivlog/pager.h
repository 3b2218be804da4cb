// The pager a reading subcommand sends its output through on a terminal, as journalctl does.
#pragma once

namespace kivlog {

// From here on standard output goes to $PAGER (else "less -FRX") until the program ends, when
// standard output is a terminal and --no-pager was not given. Never for other outputs.
void StartPager();
// Whether events are coloured by their type: on a terminal, unless NO_COLOR is set or the
// terminal is "dumb". Asked before the pager takes standard output.
bool ColourWanted();

}  // namespace kivlog
