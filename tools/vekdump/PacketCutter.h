// Cuts one direction of a stream into packets, still scrambled, and resynchronises after missing bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VekDump {

class PacketCutter {
 public:
  // The first bytes may be in the middle of a packet.
  void StartsInMidst() { lost_ = true; }
  // The next packet has to be searched for, and may be a false match.
  bool Lost() const { return lost_; }

  void Feed(std::string_view bytes);

  // The next whole packet; nothing until more bytes are fed, or if the stream is invalid.
  std::optional<std::string> Next();

  // So many bytes are missing. The packet that contains them is lost; if they extend beyond it, the next
  // packet is searched for in what follows.
  void Skip(std::uint64_t count);

  // An impossible length was announced: nothing after it can be read.
  bool Broken() const { return broken_; }

  // Bytes skipped since the last call, in the search for the start of a packet.
  std::uint64_t TakeLeftOut();

  // The received part of an incomplete packet.
  std::string_view Rest() const { return std::string_view(bytes_).substr(start_); }

 private:
  bool FindStart();

  void Drop(std::size_t count) { start_ += count; }

  std::string bytes_;
  std::size_t start_ = 0;       // of what is not yet cut
  std::uint64_t dropping_ = 0;  // bytes still to come of a lost packet
  bool lost_ = false;           // the start of the next packet is unknown
  bool broken_ = false;
  std::uint64_t leftOut_ = 0;
};

}  // namespace VekDump
