#include <fmt/core.h>

#include <algorithm>
#include <vector>

#include "vekdump/Captures.h"
#include "vekdump/Numbers.h"

namespace VekDump {
namespace {

constexpr std::uint32_t kSection = 0x0A0D0D0A;
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kSimplePacket = 3;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint32_t kByteOrder = 0x1A2B3C4D;
constexpr std::uint32_t kMostBlock = 16 * 1024 * 1024;
constexpr std::size_t kMostInterfaces = 65536;

struct Interface {
  std::uint32_t linkType;
  std::uint64_t perSecond = 1'000'000;  // units of its timestamps
};

class Reader {
 public:
  Reader(Input& input, const OnFrame& onFrame) : input_(input), onFrame_(onFrame) {}

  // The first block's type has been read.
  void Read() {
    start_ = input_.Offset() - 4;
    OnSection();
    char type[4];
    for (start_ = input_.Offset(); input_.ReadOrEnd(type, sizeof type, "a block's head");
         start_ = input_.Offset()) {
      const std::uint32_t number = U32({type, sizeof type}, 0, order_);
      if (number == kSection) {
        OnSection();
      } else {
        OnBlock(number, TakeBody(input_.Take(4, "a block's length")));
      }
    }
  }

 private:
  // The byte order of its numbers comes after its length.
  void OnSection() {
    const std::string length = input_.Take(4, "a section's length");
    const std::string order = input_.Take(4, "a section's head");
    order_ = U32(order, 0, vek_LittleEndian) == kByteOrder ? vek_LittleEndian : vek_BigEndian;
    if (U32(order, 0, order_) != kByteOrder) input_.Fail(start_, "a section without its byte order");
    TakeBody(length, order.size());
    interfaces_.clear();
  }

  // The contents between a block's two lengths; so much of it has been read.
  std::string TakeBody(const std::string& length, std::size_t read = 0) {
    constexpr std::size_t kAround = 12;
    const std::uint32_t total = U32(length, 0, order_);
    if (total < kAround + read || total > kMostBlock || total % 4 != 0)
      input_.Fail(start_, fmt::format("a block cannot have {} bytes", total));
    std::string body = input_.Take(total - kAround - read, "a block");
    const std::string again = input_.Take(4, "a block's end");
    if (U32(again, 0, order_) != total) input_.Fail(start_, "a block's two lengths differ");
    return body;
  }

  void OnBlock(std::uint32_t type, std::string_view body) {
    if (type == kInterface) OnInterface(body);
    if (type == kEnhancedPacket) OnPacket(body);
    if (type == kSimplePacket) OnSimplePacket(body);
  }

  void OnInterface(std::string_view body) {
    if (body.size() < 8 || interfaces_.size() == kMostInterfaces) input_.Fail(start_, "a bad interface");
    Interface made{U16(body, 0, order_)};
    body.remove_prefix(8);
    while (body.size() >= 4) {
      const unsigned option = U16(body, 0, order_);
      const std::size_t length = U16(body, 2, order_);
      if (4 + length > body.size()) break;
      if (option == 9 && length == 1) made.perSecond = PerSecond(U8(body, 4));
      body.remove_prefix(std::min(4 + (length + 3) / 4 * 4, body.size()));
    }
    interfaces_.push_back(made);
  }

  std::uint64_t PerSecond(unsigned resolution) const {
    const unsigned exponent = resolution & 0x7F;
    if (exponent > ((resolution & 0x80) != 0 ? 40U : 12U)) input_.Fail(start_, "a clock that fine cannot be");
    if ((resolution & 0x80) != 0) return std::uint64_t{1} << exponent;
    std::uint64_t perSecond = 1;
    for (unsigned i = 0; i < exponent; ++i) perSecond *= 10;
    return perSecond;
  }

  const Interface& InterfaceOf(std::size_t index) const {
    if (index >= interfaces_.size())
      input_.Fail(start_, fmt::format("a frame of interface {}, which is not there", index));
    return interfaces_[index];
  }

  void OnPacket(std::string_view body) {
    if (body.size() < 20) input_.Fail(start_, "a frame's block is too short");
    const Interface& from = InterfaceOf(U32(body, 0, order_));
    const std::uint64_t stamp = std::uint64_t{U32(body, 4, order_)} << 32 | U32(body, 8, order_);
    const std::size_t length = U32(body, 12, order_);
    if (length > body.size() - 20) input_.Fail(start_, "a frame is longer than its block");
    const std::uint64_t seconds = stamp / from.perSecond;
    const auto part = static_cast<double>(stamp % from.perSecond) / static_cast<double>(from.perSecond);
    if (seconds > 0xFFFFFFFF) input_.Fail(start_, "a frame's time cannot be");
    onFrame_(
        {static_cast<std::int64_t>(seconds) * 1'000'000'000 + static_cast<std::int64_t>(part * 1e9 + 0.5),
         from.linkType, body.substr(20, length)});
  }

  // Without a timestamp.
  void OnSimplePacket(std::string_view body) {
    if (body.size() < 4) input_.Fail(start_, "a frame's block is too short");
    onFrame_({0, InterfaceOf(0).linkType, body.substr(4, U32(body, 0, order_))});
  }

  Input& input_;
  const OnFrame& onFrame_;
  EVekEndian order_ = vek_LittleEndian;
  std::uint64_t start_ = 0;  // of the block
  std::vector<Interface> interfaces_;
};

}  // namespace

bool IsPcapng(std::string_view magic) {
  return U32(magic, 0) == kSection;
}

void ReadPcapng(Input& input, const OnFrame& onFrame) {
  Reader(input, onFrame).Read();
}

}  // namespace VekDump
