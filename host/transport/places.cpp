#include "host/transport/places.h"

#include <algorithm>
#include <cerrno>

namespace transport {
namespace {

// Between two lines with the same reason: who is sent away over and over cannot fill the log.
constexpr auto kTellPause = std::chrono::minutes(10);

}  // namespace

bool Places::take(const ConnectionPtr& client) {
  client->is_guest = admission_.trusts && !admission_.trusts(client->peer);
  const char* const reason = why_none(*client);
  if (reason != nullptr) {
    send_away(*client, reason);
  } else {
    clients_.insert(client);
  }
  return reason == nullptr;
}

// Null when there is one. Guests together leave some free, and one user leaves some to other guests.
const char* Places::why_none(const Connection& client) const {
  constexpr static char kTooMany[] = "too many clients";
  if (clients_.size() >= limits_.clients) return kTooMany;
  if (!client.is_guest) return nullptr;
  const auto of_user = [&client](const ConnectionPtr& each) {
    return each->is_guest && each->peer.uid == client.peer.uid;
  };
  const auto of_this_user = static_cast<size_t>(std::ranges::count_if(clients_, of_user));
  if (of_this_user >= limits_.for_one_guest()) return "too many clients of this user";
  const auto guests = static_cast<size_t>(std::ranges::count_if(clients_, &Connection::is_guest));
  return guests >= limits_.for_guests() ? kTooMany : nullptr;
}

void Places::send_away(Connection& client, const char* reason) {
  client.fail(EBUSY, reason);
  const auto now = Clock::now();
  const auto [told, is_first] = told_.try_emplace(reason, now);
  if (!admission_.say || (!is_first && now - told->second < kTellPause)) return;
  told->second = now;
  admission_.say("sent a client of user " + std::to_string(client.peer.uid) + " away, process " +
                 std::to_string(client.peer.pid) + ": " + reason);
}

}  // namespace transport
