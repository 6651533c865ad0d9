// Whether what the manager keeps obeys its own rules.
#ifndef HOST_MANAGER_SELF_TEST_H
#define HOST_MANAGER_SELF_TEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/manager/config.h"

namespace manager {

struct SelfTest {
  const char* subject;
  std::vector<std::string> (*faults)(const Switch& on);  // one line for each
};

// `number` is kFirstTest to kLastTest; null for any other.
const SelfTest* find_self_test(uint32_t number);

}  // namespace manager

#endif
