// What the programs say themselves.
#ifndef HOST_SHELL_SAY_H
#define HOST_SHELL_SAY_H

#include <string>

namespace shell {

// Who talks; spansh when nobody is set.
void set_speaker(const char* program);

// One line on standard error, in order with standard output.
void say(const std::string& text);

// Whether standard output has taken everything; tells when it has not, but of a reader that went away.
bool flush_output();

// The line as a screen can show it.
std::string printable(std::string line);

}  // namespace shell

#endif
