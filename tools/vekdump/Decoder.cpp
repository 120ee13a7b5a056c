#include "vekdump/Decoder.h"

#include "vekdump/Text.h"

namespace VekDump {

LinkDecoder& Decoder::Of(std::uint32_t link, Moment at) {
  last_ = at;
  return links_.try_emplace(link, link, output_).first->second;
}

void Decoder::Show(Kind kind, std::uint32_t link, Moment at, std::string_view text) {
  last_ = at;
  output_.Show({.kind = kind, .at = at, .link = link, .text = ValidUtf8(text)});
}

void Decoder::OnLinkUp(std::uint32_t link, Moment at, std::string_view addresses) {
  Show(Kind::LinkUp, link, at, addresses);
}

void Decoder::OnBytes(std::uint32_t link, Moment at, Side from, std::string_view bytes, bool fromStart) {
  Of(link, at).OnBytes(at, from, bytes, fromStart);
}

void Decoder::OnMissing(std::uint32_t link, Moment at, Side from, std::uint64_t count) {
  Of(link, at).OnMissing(at, from, count);
}

void Decoder::OnPacket(std::uint32_t link, Moment at, Side from, VekApi::ERecordOrder order,
                       std::string_view packet) {
  Of(link, at).OnPacket(at, from, order, std::string(packet));
}

void Decoder::OnState(std::uint32_t link, Moment at, std::int32_t state, std::string_view reason) {
  last_ = at;
  output_.Show({.kind = Kind::State, .at = at, .link = link, .text = ValidUtf8(reason), .state = state});
}

void Decoder::OnNote(std::uint32_t link, Moment at, std::string_view text) {
  Show(Kind::Note, link, at, text);
}

void Decoder::OnLinkEnd(std::uint32_t link, Moment at, std::string_view reason) {
  Of(link, at).OnEnd(at);
  links_.erase(link);
  Show(Kind::LinkEnd, link, at, reason);
}

void Decoder::End() {
  for (auto& [link, decoder] : links_) decoder.OnEnd(last_);
  links_.clear();
  output_.End();
}

}  // namespace VekDump
