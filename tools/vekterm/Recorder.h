// Writes the messages of a session down, for vekdump.
#pragma once

#include <fstream>
#include <string>
#include <string_view>

#include "protocol/Recording.h"
#include "vekterm/EventSink.h"

namespace VekTerm {

class Recorder : public EventSink {
 public:
  // Throws std::runtime_error when the file cannot be written.
  Recorder(const std::string& file, std::string identity);
  // Writes what there is of it: traced messages, and the changes of the session's state.
  void Add(const CVekEvent& event) override;
  // Throws std::runtime_error unless all of it could be written.
  void Close();

 private:
  void AddState(const CVekEvent& event);
  void AddMessage(const CVekEvent& event);
  void AddText(const CVekEvent& event, std::string_view text);
  void Put(const CVekEvent& event, VekApi::ERecord kind, std::string_view content, std::int32_t state = 0);

  const std::string name_, identity_;
  std::ofstream file_;
  std::int32_t state_ = vss_Closed;
  bool linked_ = false;
  VekApi::ERecordOrder order_ = VekApi::ERecordOrder::Unknown;
};

}  // namespace VekTerm
