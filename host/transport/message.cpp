#include "host/transport/message.h"

#include <concepts>
#include <type_traits>

#include "internal/bytes.h"

namespace transport {
namespace {

// Adds fields to the end of a body.
class Writer {
 public:
  void operator()(const auto&... fields) { (put(fields), ...); }

  Bytes take() { return std::move(bytes_); }

 private:
  void put(uint8_t value) { bytes_.push_back(value); }
  void put(bool value) { put(static_cast<uint8_t>(value)); }
  void put(Role value) { put(static_cast<uint8_t>(value)); }

  void put(uint32_t value) {
    span_be32_t field;
    libspan::put(field, value);
    bytes_.insert(bytes_.end(), std::begin(field.b), std::end(field.b));
  }

  void put(uint64_t value) {
    put(static_cast<uint32_t>(value >> 32));
    put(static_cast<uint32_t>(value));
  }

  // A block of bytes or a text. What is longer than 4 GiB is no body anyway.
  template <class Block>
  requires std::same_as<Block, Bytes> || std::same_as<Block, std::string>
  void put(const Block& block) {
    put(static_cast<uint32_t>(block.size()));
    bytes_.insert(bytes_.end(), block.begin(), block.end());
  }

  void put(const std::optional<std::string>& text) {
    put(text.has_value());
    if (text) put(*text);
  }

  void put(const std::vector<PortRole>& ports);

  void put(const std::map<uint32_t, uint64_t>& numbers) {
    put(static_cast<uint32_t>(numbers.size()));
    for (const auto& [key, number] : numbers) (*this)(key, number);
  }

  Bytes bytes_;
};

// Takes fields from the front of a body. After the first one that is wrong or not whole, all are empty.
class Reader {
 public:
  explicit Reader(std::span<const uint8_t> body) : rest_(body) {}

  void operator()(auto&... fields) { (take(fields), ...); }

  bool is_exact() const { return good_ && rest_.empty(); }

 private:
  std::span<const uint8_t> take_bytes(size_t length) {
    good_ = good_ && length <= rest_.size();
    if (!good_) return {};
    const std::span<const uint8_t> bytes = rest_.first(length);
    rest_ = rest_.subspan(length);
    return bytes;
  }

  // The number of things that follow, none of which is shorter than `least` bytes.
  uint32_t take_count(size_t least) {
    uint32_t count = 0;
    take(count);
    good_ = good_ && count <= rest_.size() / least;
    return good_ ? count : 0;
  }

  uint8_t take_choice(uint8_t last) {
    uint8_t value = 0;
    take(value);
    good_ = good_ && value <= last;
    return good_ ? value : 0;
  }

  void take(uint8_t& value) {
    const auto bytes = take_bytes(1);
    value = bytes.empty() ? 0 : bytes[0];
  }

  void take(bool& value) { value = take_choice(1) != 0; }
  void take(Role& value) { value = static_cast<Role>(take_choice(static_cast<uint8_t>(Role::kNode))); }

  void take(uint32_t& value) {
    const auto bytes = take_bytes(sizeof(span_be32_t));
    value = bytes.empty() ? 0 : libspan::get(libspan::view<span_be32_t>(bytes.data()));
  }

  void take(uint64_t& value) {
    uint32_t high = 0;
    uint32_t low = 0;
    (*this)(high, low);
    value = uint64_t{high} << 32 | low;
  }

  template <class Block>
  requires std::same_as<Block, Bytes> || std::same_as<Block, std::string>
  void take(Block& block) {
    const auto bytes = take_bytes(take_count(1));
    block.assign(bytes.begin(), bytes.end());
  }

  void take(std::optional<std::string>& text) {
    bool present = false;
    take(present);
    std::string value;
    if (present) take(value);
    text = present ? std::optional(std::move(value)) : std::nullopt;
  }

  void take(std::vector<PortRole>& ports);

  // In the order of the keys, so that there is one way only to write each map.
  void take(std::map<uint32_t, uint64_t>& numbers) {
    numbers.clear();
    for (uint32_t count = take_count(sizeof(uint32_t) + sizeof(uint64_t)); count > 0; --count) {
      uint32_t key = 0;
      uint64_t number = 0;
      (*this)(key, number);
      good_ = good_ && (numbers.empty() || numbers.rbegin()->first < key);
      numbers.emplace_hint(numbers.end(), key, number);
    }
  }

  std::span<const uint8_t> rest_;
  bool good_ = true;
};

// The layouts, each stated once for both directions: a body's fields in their order.
template <class Body, class T>
concept Of = std::same_as<std::remove_const_t<Body>, T>;

void fields(auto& visit, Of<Hello> auto& body) { visit(body.program); }

void fields(auto& visit, Of<Welcome> auto& body) { visit(body.role, body.chassis_name, body.chassis); }

void fields(auto& visit, Of<Request> auto& body) {
  visit(body.opcode, body.kind, body.requester1, body.requester2, body.payload);
}

void fields(auto& visit, Of<Reply> auto& body) { visit(body.status, body.result, body.response); }

void fields(auto& visit, Of<DumpRequest> auto& body) { visit(body.function, body.record); }

void fields(auto& visit, Of<Dumped> auto& body) { visit(body.status, body.text); }

void fields(auto& visit, Of<PortRole> auto& body) { visit(body.if_index, body.mode, body.destination); }

void fields(auto& visit, Of<RoleList> auto& body) { visit(body.ports); }

void fields(auto& visit, Of<Watch> auto& body) { visit(body.generation); }

void fields(auto& visit, Of<Rates> auto& body) { visit(body.generation, body.threshold, body.copies); }

void fields(auto& visit, Of<Send> auto& body) { visit(body.service, body.opcode, body.payload); }

void fields(auto& visit, Of<Failed> auto& body) { visit(body.error, body.text); }

void Writer::put(const std::vector<PortRole>& ports) {
  put(static_cast<uint32_t>(ports.size()));
  for (const PortRole& port : ports) fields(*this, port);
}

void Reader::take(std::vector<PortRole>& ports) {
  constexpr size_t kLength = 4 + 4 + 1;
  ports.resize(take_count(kLength));
  for (PortRole& port : ports) fields(*this, port);
}

}  // namespace

template <class T>
Bytes encode(const T& body) {
  Writer writer;
  fields(writer, body);
  return writer.take();
}

template <class T>
std::optional<T> decode(std::span<const uint8_t> body) {
  Reader reader(body);
  T result;
  fields(reader, result);
  return reader.is_exact() ? std::optional<T>(std::move(result)) : std::nullopt;
}

#define BODY(T)                         \
  template Bytes encode(const T& body); \
  template std::optional<T> decode(std::span<const uint8_t> body);

BODY(Hello)
BODY(Welcome)
BODY(Request)
BODY(Reply)
BODY(DumpRequest)
BODY(Dumped)
BODY(RoleList)
BODY(Watch)
BODY(Rates)
BODY(Send)
BODY(Failed)
#undef BODY

}  // namespace transport
