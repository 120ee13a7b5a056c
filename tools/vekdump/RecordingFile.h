#pragma once

#include <ostream>

#include "vekdump/Input.h"
#include "vekdump/Item.h"

namespace VekDump {

// Reads a recording whose magic has been read. Throws BadInput.
void ReadRecording(Input& input, LinkEvents& events);

// Writes the items as a recording. The stream outlives this object; its owner checks it for errors.
class RecordingWriter : public Output {
 public:
  explicit RecordingWriter(std::ostream& out);
  void Show(const Item& item) override;

 private:
  std::ostream& out_;
};

}  // namespace VekDump
