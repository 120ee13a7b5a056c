// Turns the traffic of links into items to show.
#pragma once

#include <map>

#include "vekdump/LinkDecoder.h"

namespace VekDump {

class Decoder : public LinkEvents {
 public:
  // The output outlives this object.
  explicit Decoder(Output& output) : output_(output) {}

  void OnLinkUp(std::uint32_t link, Moment at, std::string_view addresses) override;
  void OnBytes(std::uint32_t link, Moment at, Side from, std::string_view bytes, bool fromStart) override;
  void OnMissing(std::uint32_t link, Moment at, Side from, std::uint64_t count) override;
  void OnPacket(std::uint32_t link, Moment at, Side from, VekApi::ERecordOrder order,
                std::string_view packet) override;
  void OnState(std::uint32_t link, Moment at, std::int32_t state, std::string_view reason) override;
  void OnNote(std::uint32_t link, Moment at, std::string_view text) override;
  void OnLinkEnd(std::uint32_t link, Moment at, std::string_view reason) override;

  // The end of the input: ends the output too.
  void End();

 private:
  LinkDecoder& Of(std::uint32_t link, Moment at);
  void Show(Kind kind, std::uint32_t link, Moment at, std::string_view text);

  Output& output_;
  std::map<std::uint32_t, LinkDecoder> links_;
  Moment last_{};
};

}  // namespace VekDump
