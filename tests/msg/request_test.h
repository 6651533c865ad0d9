// What the tests of the request functions share: who asks, and the out-arguments.
#ifndef TESTS_MSG_REQUEST_TEST_H
#define TESTS_MSG_REQUEST_TEST_H

#include <cstdint>
#include <cstdlib>
#include <string>

#include "feature/span/lib/libspan.h"
#include "tests/support/libspan_test.h"

namespace testkit {

constexpr uint32_t kQueue = 7;
constexpr uint32_t kNoQueue = 0;
constexpr uint32_t kUntouched = 0xABCDEF01;
constexpr uint32_t kInvalidParam = 0x40340015;
constexpr uint32_t kTransportFailed = 0xFFFFFFFF;
constexpr char kWho[] = "operator";
constexpr char kWhere[] = "vty 1";

// "operator" and "vty 1" in the first 100 bytes of a configuration request.
inline Bytes who_and_where() { return hex("6f 70 65 72 61 74 6f 72 00*52 76 74 79 20 31 00*35"); }

class RequestTest : public LibspanTest {
 protected:
  void TearDown() override {
    std::free(response_);
    LibspanTest::TearDown();
  }

  void free_response() {
    std::free(response_);
    response_ = nullptr;
  }

  uint32_t status_ = kUntouched;
  void* response_ = nullptr;
};

}  // namespace testkit

#endif
