#include "host/transport/server.h"

#include <sys/socket.h>

#include <algorithm>
#include <asio/basic_socket_acceptor.hpp>
#include <asio/generic/seq_packet_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "host/transport/connection.h"
#include "host/transport/places.h"
#include "host/transport/socket.h"
#include "host/transport/socket_file.h"

namespace transport {
namespace {

// Between two tries to accept a client while the system has no descriptor or no memory for it.
constexpr auto kAcceptPause = std::chrono::milliseconds(100);

const Connection::Protocol kProtocol(AF_UNIX, 0);

// What a client may say. The other types are answers.
bool is_question(Type type) {
  switch (type) {
    case Type::kHello:
    case Type::kRequest:
    case Type::kDump:
    case Type::kRoles:
    case Type::kWatch:
    case Type::kTakeOver:
    case Type::kSend:
      return true;
    default:
      return false;
  }
}

// Answers one message, once.
class Answer {
 public:
  Answer(const ConnectionPtr& to, uint32_t id) : pending_(std::make_shared<Pending>(Pending{to, id})) {}

  void operator()(Type type, Bytes body) const {
    const ConnectionPtr to = std::exchange(pending_->to, {}).lock();
    if (to == nullptr) return;
    if (body.size() > kMaxBody) {
      type = Type::kFailed;
      body = encode(Failed{EMSGSIZE, "an answer of " + std::to_string(body.size()) + " bytes is too long"});
    }
    to->send({type, pending_->id, std::move(body)});
  }

  void fail(int error, const char* text) const {
    (*this)(Type::kFailed, encode(Failed{static_cast<uint32_t>(error), text}));
  }

 private:
  struct Pending {
    std::weak_ptr<Connection> to;
    uint32_t id;
  };
  std::shared_ptr<Pending> pending_;
};

}  // namespace

bool Peer::is_root_or_of(gid_t group) const {
  return uid == 0 || gid == group || std::ranges::find(groups, group) != groups.end();
}

class Server::State : public std::enable_shared_from_this<State> {
 public:
  State(asio::io_context& io, std::string path, mode_t mode, Welcome welcome, Handler handler, Limits limits,
        Admission admission)
      : io_(io),
        pause_(io),
        welcome_(std::move(welcome)),
        handler_(std::move(handler)),
        limits_(limits),
        places_(limits, std::move(admission)) {
    Descriptor socket = new_socket();
    file_ = std::make_unique<SocketFile>(socket.get(), std::move(path), mode);
    acceptor_.emplace(io_, kProtocol, socket.get());
    socket.release();
    greeting_ = encode(welcome_);
  }

  void await_client();
  void stop();
  void move_to(std::string path) { file_->move_to(std::move(path)); }
  void set_role(Role role);
  size_t clients() const { return places_.taken(); }

 private:
  void accept();
  void accept_later();
  void admit(Descriptor socket);
  void receive(const ConnectionPtr& from, Message message);
  void greet(const ConnectionPtr& who, const Message& message) const;
  void handle(const ConnectionPtr& from, Message message) const;
  Connection::Events events();

  asio::io_context& io_;
  std::optional<asio::basic_socket_acceptor<Connection::Protocol>> acceptor_;
  std::unique_ptr<SocketFile> file_;
  asio::steady_timer pause_;
  Welcome welcome_;
  Bytes greeting_;  // encoded
  Handler handler_;
  Limits limits_;
  Places places_;
};

void Server::State::await_client() {
  acceptor_->async_wait(asio::socket_base::wait_read, [weak = weak_from_this()](const asio::error_code& error) {
    if (const auto state = weak.lock(); state != nullptr && !error) state->accept();
  });
}

void Server::State::accept() {
  if (!acceptor_->is_open()) return;
  Descriptor socket(::accept4(acceptor_->native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  const bool is_gone = !socket && (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED);
  if (!socket && !is_gone) return accept_later();
  try {
    if (socket) admit(std::move(socket));
  } catch (const std::exception&) {
    return accept_later();
  }
  await_client();
}

void Server::State::accept_later() {
  pause_.expires_after(kAcceptPause);
  pause_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    if (const auto state = weak.lock(); state != nullptr && !error) state->accept();
  });
}

void Server::State::admit(Descriptor socket) {
  Connection::Socket line(io_, kProtocol, socket.get());
  socket.release();
  const auto client = std::make_shared<Connection>(std::move(line), limits_, events());
  if (places_.take(client)) client->start();
}

Connection::Events Server::State::events() {
  return {[weak = weak_from_this()](const ConnectionPtr& from, Message message) {
            if (const auto state = weak.lock()) state->receive(from, std::move(message));
          },
          [weak = weak_from_this()](const ConnectionPtr& who) {
            if (const auto state = weak.lock()) state->places_.leave(who);
          }};
}

void Server::State::receive(const ConnectionPtr& from, Message message) {
  if (!is_question(message.type)) throw Malformed(EPROTO, "an answer, but nothing was asked", message.id);
  if (message.type == Type::kHello) return greet(from, message);
  if (!from->has_greeted) throw Malformed(EPROTO, "the first message must be the greeting", message.id);
  handle(from, std::move(message));
}

// Who greets again learns whom it talks to now.
void Server::State::greet(const ConnectionPtr& who, const Message& message) const {
  const auto hello = decode<Hello>(message.body);
  if (!hello) throw Malformed(EPROTO, "the greeting is malformed", message.id);
  who->peer.program = hello->program;
  who->has_greeted = true;
  who->send({Type::kWelcome, message.id, greeting_});
}

void Server::State::handle(const ConnectionPtr& from, Message message) const {
  const Answer answer(from, message.id);
  try {
    handler_(from->peer, std::move(message), answer);
  } catch (const std::system_error& error) {
    answer.fail(error.code().value(), error.what());
  } catch (const std::bad_alloc& error) {
    answer.fail(ENOMEM, error.what());
  } catch (const std::exception& error) {
    answer.fail(EIO, error.what());
  }
}

void Server::State::set_role(Role role) {
  welcome_.role = role;
  greeting_ = encode(welcome_);
}

// The name goes first, so that nobody finds it without a server behind it.
void Server::State::stop() {
  file_.reset();
  asio::error_code ignored;
  acceptor_->close(ignored);
  pause_.cancel();
  for (const auto& client : places_.vacate()) client->close();
}

Server::Server(asio::io_context& io, std::string path, mode_t mode, Welcome welcome, Handler handler, Limits limits,
               Admission admission)
    : state_(std::make_shared<State>(io, std::move(path), mode, std::move(welcome), std::move(handler), limits,
                                     std::move(admission))) {
  state_->await_client();
}

Server::~Server() { state_->stop(); }

void Server::move_to(std::string path) { state_->move_to(std::move(path)); }

void Server::set_role(Role role) { state_->set_role(role); }

size_t Server::clients() const { return state_->clients(); }

}  // namespace transport
