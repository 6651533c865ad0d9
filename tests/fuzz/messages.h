// Well-formed messages: whatever their counts announce, is there, and nothing behind it. Offsets are plain numbers.
#ifndef TESTS_FUZZ_MESSAGES_H
#define TESTS_FUZZ_MESSAGES_H

#include <cstdint>

#include "tests/fuzz/input.h"

namespace fuzz {

// The SPAN manager's answer to a request.
Bytes response(Input& input, uint32_t opcode);

Bytes session_record(Input& input);
Bytes source_config_result(Input& input);
Bytes source_interface(Input& input);
Bytes port_config_result(Input& input);

// Interfaces behind their count, as session records list them.
Bytes interface_list(Input& input);

// The port manager's message, its body of this kind: 1 interfaces, 2 port channels, 3 VSANs.
Bytes port_info(Input& input);
Bytes port_info_body(Input& input, uint8_t kind);

// The service-module map for a request of `count` ranges.
Bytes service_module_map(Input& input);

}  // namespace fuzz

#endif
