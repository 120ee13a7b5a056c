#include "vekdump/TcpStream.h"

namespace VekDump {
namespace {

// Larger than any window seen to lose data: bytes still missing then will never arrive.
constexpr std::size_t kMostEarly = 4 * 1024 * 1024;
constexpr std::size_t kMostEarlySegments = 4096;

}  // namespace

void TcpStream::Start(std::uint32_t firstByte) {
  started_ = true;
  next_ = std::uint64_t{1} << 32 | firstByte;  // so that no position is below 0
}

// Sequence numbers wrap; the position is the one nearest to the expected byte.
std::uint64_t TcpStream::PositionOf(std::uint32_t number) const {
  const auto ahead = static_cast<std::int32_t>(number - static_cast<std::uint32_t>(next_));
  return next_ + static_cast<std::uint64_t>(static_cast<std::int64_t>(ahead));
}

void TcpStream::Add(const Segment& segment, StreamSink& sink) {
  if (!started_) Start(segment.sequence);
  const std::uint64_t at = PositionOf(segment.sequence) + (segment.syn ? 1 : 0);
  if (segment.fin && finAt_ == kNone) finAt_ = at + segment.length;
  if (at <= next_) {
    Give(at, segment.bytes, sink);
    GiveWaiting(sink);
  } else if (!segment.bytes.empty()) {
    std::string& waiting = early_[at];
    if (segment.bytes.size() <= waiting.size()) return;
    earlyBytes_ += segment.bytes.size() - waiting.size();
    waiting = segment.bytes;
    if (earlyBytes_ > kMostEarly || early_.size() > kMostEarlySegments) SkipHole(sink);
  }
}

void TcpStream::Give(std::uint64_t at, std::string_view bytes, StreamSink& sink) {
  const std::uint64_t known = next_ - at;
  if (known >= bytes.size()) return;
  bytes.remove_prefix(static_cast<std::size_t>(known));
  next_ += bytes.size();
  sink.OnData(bytes);
}

void TcpStream::GiveWaiting(StreamSink& sink) {
  while (!early_.empty() && early_.begin()->first <= next_) {
    const auto waiting = early_.extract(early_.begin());
    earlyBytes_ -= waiting.mapped().size();
    Give(waiting.key(), waiting.mapped(), sink);
  }
}

void TcpStream::SkipHole(StreamSink& sink) {
  const std::uint64_t to = early_.begin()->first;
  sink.OnHole(to - next_);
  next_ = to;
  GiveWaiting(sink);
}

void TcpStream::Acknowledged(std::uint32_t number, StreamSink& sink) {
  while (!early_.empty() && PositionOf(number) > early_.begin()->first) SkipHole(sink);
}

void TcpStream::End(StreamSink& sink) {
  while (!early_.empty()) SkipHole(sink);
  if (finAt_ == kNone || finAt_ <= next_) return;
  sink.OnHole(finAt_ - next_);
  next_ = finAt_;
}

}  // namespace VekDump
