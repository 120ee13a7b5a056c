// The forms in which a session is shown. Streams outlive the outputs; their owner checks them for errors.
#pragma once

#include <ostream>

#include "vekdump/Item.h"

namespace VekDump {

struct Shown {
  std::size_t rows = 20;  // of a table, or lines of a text; 0: all
  bool hex = false;
};

// A few lines per item, for people.
class TextOutput : public Output {
 public:
  TextOutput(std::ostream& out, Shown shown) : out_(out), shown_(shown) {}
  void Show(const Item& item) override;

 private:
  void ShowPacket(const Item& item);
  void ShowText(const std::string& text);
  void ShowTable(const VekApi::VekTable& table);

  std::ostream& out_;
  const Shown shown_;
  std::uint64_t count_ = 0;
  std::int64_t lastNs_ = 0;
};

// One JSON object per line.
class JsonOutput : public Output {
 public:
  JsonOutput(std::ostream& out, bool hex) : out_(out), hex_(hex) {}
  void Show(const Item& item) override;

 private:
  std::ostream& out_;
  const bool hex_;
  std::uint64_t count_ = 0;
  std::int64_t lastNs_ = 0;
};

// Name of a state, such as "signed on".
const char* StateName(std::int32_t state);

}  // namespace VekDump
