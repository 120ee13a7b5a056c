// Cuts one direction of a stream into packets, still scrambled, and finds its way again behind bytes that are
// missing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VekDump {

class PacketCutter {
 public:
  // What comes first need not be the start of a packet.
  void StartsInMidst() { lost_ = true; }
  // The next packet has to be searched for, and may be none.
  bool Lost() const { return lost_; }

  void Feed(std::string_view bytes);

  // The next whole packet; nothing until more bytes are fed, or when the stream is none.
  std::optional<std::string> Next();

  // So many bytes did not come. The packet that they belong to is lost; where they go beyond it, what follows
  // is searched for the next packet.
  void Skip(std::uint64_t count);

  // An announced length cannot be: nothing behind it can be read.
  bool Broken() const { return broken_; }

  // Bytes that were left out since the last call, while the start of a packet was looked for.
  std::uint64_t TakeLeftOut();

  // What is there of a packet that is not whole.
  std::string_view Rest() const { return std::string_view(bytes_).substr(start_); }

 private:
  bool FindStart();

  void Drop(std::size_t count) { start_ += count; }

  std::string bytes_;
  std::size_t start_ = 0;       // of what is still to be cut
  std::uint64_t dropping_ = 0;  // bytes still to come of a packet that is lost
  bool lost_ = false;           // it is not known where the next packet starts
  bool broken_ = false;
  std::uint64_t leftOut_ = 0;
};

}  // namespace VekDump
