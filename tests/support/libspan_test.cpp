#include "tests/support/libspan_test.h"

namespace testkit {

void LibspanTest::finish() {
  fake.verify();
  heap::fail_nth(0);
  const std::string leaks = heap::sweep();
  if (!leaks.empty()) fail("blocks left behind:\n" + leaks);
  const std::string rest = printed();
  if (!rest.empty()) fail("printed, but not expected:\n" + rest);
}

}  // namespace testkit
