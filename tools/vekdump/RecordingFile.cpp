#include "vekdump/RecordingFile.h"

#include <string_view>

#include "protocol/Packet.h"

namespace VekDump {
namespace {

using VekApi::ERecord;

void Tell(const VekApi::TRecordHead& head, std::string_view bytes, LinkEvents& events) {
  const Moment at{head.monotonicNs, head.wallNs};
  switch (head.kind) {
    case ERecord::Packet:
      return events.OnPacket(head.link, at, head.fromServer ? Side::Server : Side::Client, head.order, bytes);
    case ERecord::LinkUp:
      return events.OnLinkUp(head.link, at, bytes);
    case ERecord::LinkEnd:
      return events.OnLinkEnd(head.link, at, bytes);
    case ERecord::State:
      return events.OnState(head.link, at, head.state, bytes);
    case ERecord::Note:
      return events.OnNote(head.link, at, bytes);
  }
}

bool IsPacket(std::string_view bytes) {
  return bytes.size() >= VekApi::kHeadBytes &&
         static_cast<std::size_t>(VekApi::PkLength(bytes.data())) == bytes.size();
}

}  // namespace

void ReadRecording(Input& input, LinkEvents& events) {
  VekApi::TRecordHeadBytes bytes;
  for (std::uint64_t start = input.Offset(); input.ReadOrEnd(bytes.data(), bytes.size(), "a record's head");
       start = input.Offset()) {
    const auto head = VekApi::ReadRecordHead(bytes);
    if (!head) input.Fail(start, "this is no record");
    const std::string content = input.Take(head->length, "a record");
    if (head->kind == ERecord::Packet && !IsPacket(content))
      input.Fail(start, "the record's packet is not as long as it says");
    Tell(*head, content, events);
  }
}

RecordingWriter::RecordingWriter(std::ostream& out) : out_(out) {
  out_ << VekApi::kRecordingMagic;
}

void RecordingWriter::Show(const Item& item) {
  constexpr ERecord kKinds[] = {ERecord::Packet, ERecord::LinkUp, ERecord::LinkEnd, ERecord::State,
                                ERecord::Note};
  std::string_view content = item.kind == Kind::Packet ? item.packet : item.text;
  content = content.substr(0, VekApi::kMostRecordBytes);
  VekApi::TRecordHead head;
  head.length = static_cast<std::uint32_t>(content.size());
  head.kind = kKinds[static_cast<std::size_t>(item.kind)];
  head.fromServer = item.from == Side::Server;
  head.order = item.order;
  head.link = item.link;
  head.state = item.kind == Kind::State ? item.state.value_or(0) : 0;
  head.monotonicNs = item.at.ns;
  head.wallNs = item.at.wallNs;
  const auto bytes = VekApi::WriteRecordHead(head);
  out_.write(bytes.data(), bytes.size()).write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace VekDump
