#pragma once

#include <ostream>

#include "vekdump/Input.h"
#include "vekdump/Item.h"

namespace VekDump {

// Reads a recording whose magic has been read. Throws BadInput.
void ReadRecording(Input& input, LinkEvents& events);

// Writes what is shown as a recording. The stream outlives this object; whoever gave it looks after its
// errors.
class RecordingWriter : public Output {
 public:
  explicit RecordingWriter(std::ostream& out);
  void Show(const Item& item) override;

 private:
  std::ostream& out_;
};

}  // namespace VekDump
