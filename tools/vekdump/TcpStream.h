// One direction of a TCP connection, put in order: repeated bytes are dropped, early ones wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "vekdump/Frames.h"

namespace VekDump {

class StreamSink {
 public:
  virtual void OnData(std::string_view bytes) = 0;
  virtual void OnHole(std::uint64_t count) = 0;

 protected:
  ~StreamSink() = default;
};

class TcpStream {
 public:
  bool Started() const { return started_; }
  // The start of the connection; if it is not seen, the first segment stands for it.
  void Start(std::uint32_t firstByte);

  void Add(const Segment& segment, StreamSink& sink);

  // The other side has acknowledged everything before `number`: bytes before it that are still missing were
  // not captured.
  void Acknowledged(std::uint32_t number, StreamSink& sink);

  // The end of the input.
  void End(StreamSink& sink);

  // Everything up to the sender's end has been received.
  bool Finished() const { return finAt_ != kNone && next_ >= finAt_; }

 private:
  static constexpr std::uint64_t kNone = ~std::uint64_t{0};

  std::uint64_t PositionOf(std::uint32_t number) const;
  void Give(std::uint64_t at, std::string_view bytes, StreamSink& sink);
  void GiveWaiting(StreamSink& sink);
  void SkipHole(StreamSink& sink);

  bool started_ = false;
  std::uint64_t next_ = 0;       // position of the next expected byte
  std::uint64_t finAt_ = kNone;  // position of the sender's end
  std::map<std::uint64_t, std::string> early_;
  std::size_t earlyBytes_ = 0;
};

}  // namespace VekDump
