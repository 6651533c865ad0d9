// The descriptors of a process that serves.
#ifndef HOST_TRANSPORT_DESCRIPTORS_H
#define HOST_TRANSPORT_DESCRIPTORS_H

#include <cstddef>

namespace transport {

// A standard file that is closed would lend its number to the next file that is opened, and the log go there.
void hold_standard_files();

// How many clients each of some servers of this process can have at most, as many as Limits say if possible. Raises the
// limit of descriptors as far as it may be raised. Throws std::runtime_error when there are too few for any service.
size_t most_clients(size_t servers = 1);

}  // namespace transport

#endif
