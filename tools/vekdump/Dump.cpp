#include "vekdump/Dump.h"

#include <algorithm>

#include "vekdump/Captures.h"
#include "vekdump/Decoder.h"
#include "vekdump/Frames.h"
#include "vekdump/Input.h"
#include "vekdump/RecordingFile.h"
#include "vekdump/TcpLinks.h"

namespace VekDump {
namespace {

template <class T>
bool IsOneOf(const std::vector<T>& wanted, T value) {
  return wanted.empty() || std::find(wanted.begin(), wanted.end(), value) != wanted.end();
}

LeftOut ReadCapture(Input& input, const std::string& magic, std::uint16_t serverPort, Decoder& decoder) {
  TcpLinks links(decoder, serverPort);
  LeftOut left;
  const OnFrame onFrame = [&](const Frame& frame) {
    if (!KnowsLinkType(frame.linkType)) ++left.frames;
    if (const auto segment = ReadFrame(frame)) links.Add(*segment, {frame.wallNs, frame.wallNs});
  };
  try {
    IsPcap(magic) ? ReadPcap(input, magic, onFrame) : ReadPcapng(input, onFrame);
  } catch (const BadInput&) {
    links.End();
    throw;
  }
  links.End();
  left.connections = links.LeftOut();
  return left;
}

LeftOut Read(Input& input, std::uint16_t serverPort, Decoder& decoder) {
  const std::string magic = input.Take(4, "the file's first word");
  if (IsPcap(magic) || IsPcapng(magic)) return ReadCapture(input, magic, serverPort, decoder);
  if (!VekApi::kRecordingMagic.starts_with(magic)) input.Fail(0, "this is neither a recording nor a capture");
  const std::string rest =
      input.Take(VekApi::kRecordingMagic.size() - magic.size(), "the recording's first line");
  if (magic + rest != VekApi::kRecordingMagic) input.Fail(0, "a recording of another version");
  ReadRecording(input, decoder);
  return {};
}

}  // namespace

LeftOut DumpFile(std::istream& stream, const std::string& name, std::uint16_t serverPort, Output& output) {
  Input input(stream, name);
  Decoder decoder(output);
  try {
    const LeftOut left = Read(input, serverPort, decoder);
    decoder.End();
    return left;
  } catch (const BadInput&) {
    decoder.End();
    throw;
  }
}

void Filter::Show(const Item& item) {
  if (!IsOneOf(links_, item.link) || (item.kind == Kind::Packet && !IsOneOf(codes_, item.code))) return;
  for (const auto& output : outputs_) output->Show(item);
}

void Filter::End() {
  for (const auto& output : outputs_) output->End();
}

}  // namespace VekDump
