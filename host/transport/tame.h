// Text that another process, or somebody else, chose.
#ifndef HOST_TRANSPORT_TAME_H
#define HOST_TRANSPORT_TAME_H

#include <cstddef>
#include <string>

namespace transport {

// As it can be kept and shown: printable ASCII, anything else as \xNN. What would go beyond `most` characters is left
// out, a whole \xNN at a time.
std::string tame(const std::string& text, size_t most = 1000);

}  // namespace transport

#endif
