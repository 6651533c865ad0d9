#include "host/transport/endpoints.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace transport {
namespace {

using std::filesystem::path;

constexpr char kSocketExtension[] = ".sock";

// A variable that is set to nothing counts as not set.
std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

std::string default_run_directory() {
  if (std::string directory = environment("SPAN_RUN_DIR"); !directory.empty()) return directory;
  if (const std::string parent = environment("XDG_RUNTIME_DIR"); !parent.empty()) return path(parent) / "span";
  return "/run/span";
}

std::string manager_socket(const std::string& run_directory) { return path(run_directory) / "manager.sock"; }

std::string standby_socket(const std::string& run_directory) { return path(run_directory) / "standby.sock"; }

std::string node_socket(const std::string& run_directory, uint32_t address) {
  std::ostringstream name;
  name << "node-" << std::hex << address << kSocketExtension;
  return path(run_directory) / name.str();
}

Endpoint endpoint(const std::string& name) {
  if (path(name).extension() != kSocketExtension) return {name, manager_socket(name)};
  const path parent = path(name).parent_path();
  return {parent.empty() ? "." : parent.string(), name};
}

}  // namespace transport
