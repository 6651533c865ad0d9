#include "host/transport/channel.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <system_error>
#include <utility>

#include "host/transport/frame.h"
#include "host/transport/socket.h"

namespace transport {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMostKept = 64;

// Between two tries to connect to a server that has no room for one more.
constexpr Milliseconds kConnectPause(5);

// The lowest bit of an id tells who waits for its answer: call(), which gives up in time, or somebody who may still
// come for it with receive().
constexpr uint32_t kOfCall = 1;
constexpr uint32_t kIdStep = 2;

// Longer than anybody waits, and still no overflow.
constexpr Milliseconds kLongest = std::chrono::hours(24 * 365);

// The end of a wait.
class Deadline {
 public:
  explicit Deadline(Milliseconds patience) : end_(Clock::now() + std::clamp(patience, Milliseconds(0), kLongest)) {}

  // What is left, rounded up, so that a wait does not end too early.
  int left() const {
    const auto rest = std::chrono::ceil<Milliseconds>(end_ - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(rest)>(rest, 0, kMostAtOnce));
  }
  bool is_over() const { return Clock::now() >= end_; }

 private:
  static constexpr int kMostAtOnce = 1 << 30;
  Clock::time_point end_;
};

constexpr int kNoSocket = -1;
constexpr uint32_t kMaxErrno = 4095;

// Which of them a sender is told depends on how far the other end has gone.
bool broke(int error) { return error == EPIPE || error == ECONNRESET || error == ECONNREFUSED || error == ENOTCONN; }

// Ids start anew after the last one, so their distance decides.
bool is_older(uint32_t id, uint32_t than) { return static_cast<int32_t>(id - than) < 0; }

// The error of a kFailed answer, 0 of any other one.
int failure_in(const Message& answer) {
  if (answer.type != Type::kFailed) return 0;
  const auto failed = decode<Failed>(answer.body);
  const bool is_errno = failed && failed->error > 0 && failed->error <= kMaxErrno;
  return is_errno ? static_cast<int>(failed->error) : EPROTO;
}

}  // namespace

Interrupt::Interrupt() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

Interrupt::~Interrupt() { ::close(descriptor_); }

// A counter that is full is raised already.
void Interrupt::raise() noexcept {
  const int error = errno;
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = ::write(descriptor_, &one, sizeof(one));
  errno = error;
}

void Interrupt::clear() {
  uint64_t count;
  [[maybe_unused]] const ssize_t length = ::read(descriptor_, &count, sizeof(count));
}

class Channel::Line {
 public:
  Line(std::string path, std::string program, Interrupt* interrupt)
      : path_(std::move(path)), program_(std::move(program)), interrupt_(interrupt) {}

  int call(Type type, Bytes body, Message& answer, const Deadline& deadline);
  int send(Type type, Bytes body, uint32_t flag, uint32_t& id, const Deadline& deadline);
  int receive(uint32_t id, Message& answer, const Deadline& deadline);
  void abandon(uint32_t id);
  int ensure_connected(const Deadline& deadline);
  const Welcome& welcome() const { return welcome_; }

 private:
  int connect(const Deadline& deadline);
  int greet(const Deadline& deadline);
  int send_frames(Outgoing& message, const Deadline& deadline);
  int wait(int socket, short events, const Deadline& deadline) const;
  int read_frame(std::optional<Message>& message);
  int await_answer(uint32_t id, Message& answer, const Deadline& deadline);
  void drain();
  void keep(Message message);
  bool take_kept(uint32_t id, Message& answer);
  void cut();
  uint32_t new_id(uint32_t flag);

  std::string path_;
  std::string program_;
  Interrupt* interrupt_;
  Descriptor socket_{};
  uint32_t last_id_ = 0;
  uint32_t first_id_ = 0;  // of the connection that stands
  Welcome welcome_{};
  Assembler assembler_{};
  std::deque<Message> kept_{};
  std::deque<uint32_t> abandoned_{};  // the latest ones; what was kept for long makes room by itself
  std::unique_ptr<FrameBuffer> buffer_ = std::make_unique<FrameBuffer>();
};

uint32_t Channel::Line::new_id(uint32_t flag) {
  last_id_ += kIdStep;
  if (last_id_ == 0) last_id_ += kIdStep;  // 0 is the line itself
  return last_id_ | flag;
}

void Channel::Line::cut() {
  socket_.reset();
  assembler_ = {};
  abandoned_.clear();
}

// Waits until the socket is ready, and at least looks whether it is. An interrupt comes first.
int Channel::Line::wait(int socket, short events, const Deadline& deadline) const {
  pollfd files[] = {{socket, events, 0}, {interrupt_ == nullptr ? -1 : interrupt_->descriptor(), POLLIN, 0}};
  for (;;) {
    const int count = ::poll(files, std::size(files), deadline.left());
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) return files[1].revents != 0 ? EINTR : 0;
    if (count == 0 && deadline.is_over()) return ETIMEDOUT;
  }
}

// What fails at once does not wait, and would not see an interrupt.
int Channel::Line::connect(const Deadline& deadline) try {
  if (wait(kNoSocket, 0, Deadline(Milliseconds(0))) == EINTR) return EINTR;
  socket_ = new_socket();
  const auto address = socket_address(path_);
  if (!address) return ENAMETOOLONG;
  for (;;) {
    const int failure = connect_socket(socket_.get(), *address);
    if (failure == EPROTOTYPE) return EPROTO;
    if (failure != EAGAIN && failure != EINTR) return failure;
    if (deadline.is_over()) return ETIMEDOUT;
    const Deadline pause(std::min(kConnectPause, Milliseconds(deadline.left())));
    if (const int error = wait(kNoSocket, 0, pause); error != ETIMEDOUT) return error;
  }
} catch (const std::system_error& error) {
  return error.code().value();
}

// The server's word about the line has the id 0.
int Channel::Line::greet(const Deadline& deadline) {
  const uint32_t id = new_id(kOfCall);
  Outgoing hello({Type::kHello, id, encode(Hello{program_})});
  if (const int error = send_frames(hello, deadline); error != 0 && !broke(error)) return error;
  std::optional<Message> answer;
  while (!answer || (answer->id != id && answer->id != 0)) {
    if (const int error = wait(socket_.get(), POLLIN, deadline); error != 0) return error;
    const int error = read_frame(answer);
    if (error != 0 && error != EAGAIN) return error == ECONNRESET ? ECONNREFUSED : error;
  }
  if (const int error = failure_in(*answer); error != 0) return error;
  auto welcome = decode<Welcome>(answer->body);
  if (answer->type != Type::kWelcome || !welcome) return EPROTO;
  welcome_ = std::move(*welcome);
  return 0;
}

int Channel::Line::ensure_connected(const Deadline& deadline) {
  if (socket_) drain();
  if (socket_) return 0;
  first_id_ = last_id_ + kIdStep;
  int error = connect(deadline);
  if (error == 0) error = greet(deadline);
  if (error != 0) cut();
  return error;
}

// What has come without being waited for. It shows, too, that the other end has gone.
void Channel::Line::drain() {
  std::optional<Message> message;
  while (socket_) {
    const int error = read_frame(message);
    if (error == EAGAIN) return;
    if (error != 0) return cut();
    if (message) keep(std::move(*message));
  }
}

// One frame, EAGAIN when there is none.
int Channel::Line::read_frame(std::optional<Message>& message) try {
  message.reset();
  Received received = receive_frame(socket_.get(), *buffer_);
  // The end of a peer that has left something unread is told before what it had sent.
  if (received.error == ECONNRESET) received = receive_frame(socket_.get(), *buffer_);
  if (received.error != 0) return received.error;
  if (received.length == 0) return ECONNRESET;
  message = assembler_.add(*buffer_, received.length);
  return 0;
} catch (const Malformed&) {
  return EPROTO;
}

int Channel::Line::send_frames(Outgoing& message, const Deadline& deadline) {
  while (!message.is_done()) {
    int error = message.send_next(socket_.get());
    if (error == EAGAIN) error = wait(socket_.get(), POLLOUT, deadline);
    if (error != 0) return error;
  }
  return 0;
}

// Once more on a new line when nothing at all went out on the old one.
int Channel::Line::send(Type type, Bytes body, uint32_t flag, uint32_t& id, const Deadline& deadline) {
  if (body.size() > kMaxBody) return EMSGSIZE;
  if (wait(kNoSocket, 0, Deadline(Milliseconds(0))) == EINTR) return EINTR;
  for (int tries = 2; tries > 0; --tries) {
    if (const int error = ensure_connected(deadline); error != 0) return error;
    id = new_id(flag);
    Outgoing message({type, id, std::move(body)});
    const int error = send_frames(message, deadline);
    if (error == 0) return 0;
    if (broke(error) || message.has_begun()) cut();
    if (!broke(error)) return error;
    if (message.has_begun()) break;
    body = message.take_body();
  }
  return ECONNRESET;
}

void Channel::Line::keep(Message message) {
  if ((message.id & kOfCall) != 0 || message.id == 0 || std::erase(abandoned_, message.id) != 0) return;
  if (kept_.size() == kMostKept) kept_.pop_front();
  kept_.push_back(std::move(message));
}

bool Channel::Line::take_kept(uint32_t id, Message& answer) {
  const auto found = std::find_if(kept_.begin(), kept_.end(), [id](const Message& each) { return each.id == id; });
  if (found == kept_.end()) return false;
  answer = std::move(*found);
  kept_.erase(found);
  return true;
}

int Channel::Line::await_answer(uint32_t id, Message& answer, const Deadline& deadline) {
  std::optional<Message> message;
  while (!message || message->id != id) {
    if (message) keep(std::move(*message));
    if (const int error = wait(socket_.get(), POLLIN, deadline); error != 0) return error;
    const int error = read_frame(message);
    if (error == 0 || error == EAGAIN) continue;
    cut();
    return error == EPROTO ? EPROTO : ECONNRESET;
  }
  answer = std::move(*message);
  return 0;
}

int Channel::Line::call(Type type, Bytes body, Message& answer, const Deadline& deadline) {
  uint32_t id = 0;
  int error = send(type, std::move(body), kOfCall, id, deadline);
  if (error == 0) error = await_answer(id, answer, deadline);
  return error != 0 ? error : failure_in(answer);
}

int Channel::Line::receive(uint32_t id, Message& answer, const Deadline& deadline) {
  if (take_kept(id, answer)) return failure_in(answer);
  if (!socket_ || is_older(id, first_id_)) return ECONNRESET;
  const int error = await_answer(id, answer, deadline);
  return error != 0 ? error : failure_in(answer);
}

void Channel::Line::abandon(uint32_t id) {
  Message answer;
  if (take_kept(id, answer) || !socket_ || is_older(id, first_id_)) return;
  if (abandoned_.size() == kMostKept) abandoned_.pop_front();
  abandoned_.push_back(id);
}

Channel::Channel(std::string path, std::string program, Interrupt* interrupt)
    : line_(std::make_unique<Line>(std::move(path), std::move(program), interrupt)) {}

Channel::~Channel() = default;
Channel::Channel(Channel&&) noexcept = default;
Channel& Channel::operator=(Channel&&) noexcept = default;

int Channel::call(Type type, Bytes body, Message& answer, Milliseconds patience) {
  return line_->call(type, std::move(body), answer, Deadline(patience));
}

int Channel::send(Type type, Bytes body, uint32_t& id, Milliseconds patience) {
  return line_->send(type, std::move(body), 0, id, Deadline(patience));
}

int Channel::receive(uint32_t id, Message& answer, Milliseconds patience) {
  return line_->receive(id, answer, Deadline(patience));
}

void Channel::abandon(uint32_t id) { line_->abandon(id); }

int Channel::welcome(Welcome& welcome, Milliseconds patience) {
  const int error = line_->ensure_connected(Deadline(patience));
  if (error == 0) welcome = line_->welcome();
  return error;
}

}  // namespace transport
