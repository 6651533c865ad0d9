// VSANs as text, for what is kept: "1-3,7,4095", ascending; none is the empty text.
#ifndef HOST_MANAGER_VSAN_TEXT_H
#define HOST_MANAGER_VSAN_TEXT_H

#include <optional>
#include <string>
#include <string_view>

#include "host/manager/config.h"

namespace manager {

std::string vsan_text(const Vsans& vsans);

// Nothing when the text is none that vsan_text() makes.
std::optional<Vsans> parse_vsans(std::string_view text);

}  // namespace manager

#endif
