#include "platform/brio.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

#include "host/platform/state.h"

namespace host {
namespace {

// What lies in the display context of a command record. A zeroed one sees nothing.
constexpr uintptr_t kContextMark = 0x4252494F;

struct Context {
  uintptr_t mark;
  const chassis::Role* role;
};

const chassis::Role* role_of(const void* display_ctx) {
  Context context = {};
  if (display_ctx != nullptr) std::memcpy(&context, display_ctx, sizeof context);
  return context.mark == kContextMark ? context.role : nullptr;
}

std::function<void(std::string_view)>& script_runner() {
  static std::function<void(std::string_view)> run;
  return run;
}

int run_script(const char* path) {
  std::ifstream file(path);
  if (!file || !script_runner()) return -1;
  for (std::string line; std::getline(file, line);) script_runner()(line);
  return file.bad() ? -1 : 0;
}

}  // namespace

const char* transport_error_text(uint32_t error) {
  switch (error) {
    case EBADF:
      return "the message queue is not open";
    case ECONNREFUSED:
      return "the service does not run";
    case EHOSTUNREACH:
      return "the module cannot be reached";
    case ETIMEDOUT:
      return "no answer came in time: whether the request was carried out is not known";
    case ECONNRESET:
      return "the connection was lost: whether the request was carried out is not known";
    case EINTR:
      return "interrupted: whether the request was carried out is not known";
    case EACCES:
    case EPERM:
      return "this user may not use the service";
    case EBUSY:
      return "the service has too many clients";
    case EAGAIN:
      return "the service stands by for another one";
    case EMSGSIZE:
      return "the message is too long";
    case EPROTO:
      return "the answer cannot be used";
    case EINVAL:
      return "the message is malformed";
    case EOPNOTSUPP:
      return "the service does not know the message";
    case EIO:
      return "the service failed";
    case ENOMEM:
      return "out of memory";
    case EMFILE:
    case ENFILE:
      return "too many files are open";
    case ESTALE:
      return "the switch is another one now; connect to it anew";
    default:
      return "unknown cause";
  }
}

void set_display_role(uintptr_t (&display_ctx)[8], const chassis::Role& role) {
  const Context context = {kContextMark, &role};
  static_assert(sizeof context <= sizeof display_ctx);
  std::memset(display_ctx, 0, sizeof display_ctx);
  std::memcpy(display_ctx, &context, sizeof context);
}

void set_script_runner(std::function<void(std::string_view line)> run) { script_runner() = std::move(run); }

}  // namespace host

using namespace host;

int brio_is_vsan_allowed(const void* display_ctx, uint32_t vsan) {
  const chassis::Role* role = role_of(display_ctx);
  return role != nullptr && vsan < role->vsans.size() && role->vsans[vsan];
}

int brio_is_interface_display_allowed(uint32_t, const void* display_ctx, uint32_t if_index) {
  const chassis::Role* role = role_of(display_ctx);
  if (role == nullptr) return 0;
  return role->all_interfaces || std::binary_search(role->interfaces.begin(), role->interfaces.end(), if_index);
}

void brio_print_quill_error_message(uint32_t, uint32_t error) {
  std::printf("Error: message transport: %s (error %u)\n", transport_error_text(error), error);
  if (running() != nullptr) running()->failure_told = true;
}

int brio_execute_script_file(const char* path) {
  if (path == nullptr) return -1;
  return guarded([path] { return run_script(path); }, [] { return -1; });
}
