#include "host/shell/handlers.h"

#include <cstdio>

namespace shell {
namespace {

uint32_t last_number(const span_cli_parms_t& parms) {
  return *static_cast<const uint32_t*>(parms.tokens[parms.token_count]->value);
}

}  // namespace

uint32_t run_test(const span_cli_parms_t* parms) {
  const uint32_t result = span_cli_test(parms);
  if (last_number(*parms) != 0) return result;
  std::putchar('\n');
  return 0;
}

// The library returns the length of what it printed; whether the manager answered is known to the switch.
uint32_t show_rspan_tunnel(const span_cli_parms_t* parms) {
  span_show_rspan_tunnel_config_for_st_port(last_number(*parms), parms->queue);
  return 0;
}

}  // namespace shell
