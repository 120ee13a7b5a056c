// The functions of VekSessionC.h for events, results and texts.
#include <algorithm>
#include <string>

#include "flat/ForcedUnwind.h"
#include "flat/PutText.h"
#include "keeper/Records.h"
#include "keeper/Words.h"
#include "platform/os/CodePage.h"
#include "protocol/Recording.h"
#include "vekapi/VekSessionC.h"
#include "vekapi/VekTaskResult.h"

namespace {

using VekApi::VekTaskResult;

// Copies all of the bytes or none. Returns their number in either case.
uint32_t PutBytes(std::string_view bytes, char* out, uint32_t room) {
  if (out && bytes.size() <= room) bytes.copy(out, bytes.size());
  return static_cast<uint32_t>(bytes.size());
}

}  // namespace

CVekTaskResult CVekSession_KeepResult(CVekSession* session, const CVekEvent* event) {
  if (!session || !event || !event->result.object) return {};
  try {
    return {new VekTaskResult(*static_cast<const VekTaskResult*>(event->result.object))};
  } catch (...) {
    VekApi::Flat::PassForcedUnwind();
    return {};
  }
}

void CVekTaskResult_Free(CVekTaskResult* result) {
  if (!result) return;
  delete static_cast<const VekTaskResult*>(result->object);
  result->object = nullptr;
}

const char* CVekApi_Text(int32_t what, int32_t value, int32_t language) {
  return VekApi::WordsOf(what, value, language);
}

uint32_t CVekApi_ToUtf8(const char* big5, uint32_t length, char* out, uint32_t room) {
  return VekApi::Flat::PutText(out, room, [=] {
    std::string utf8;
    if (big5) Dova::Os::CodePage950ToUtf8({big5, length}, utf8);
    return utf8;
  });
}

uint32_t CVekApi_Describe(const CVekEvent* event, char* out, uint32_t room) {
  return VekApi::Flat::PutText(out, room, [=] { return event ? VekApi::Describe(*event) : std::string(); });
}

uint32_t CVekApi_RecordOf(const CVekEvent* event, char* out, uint32_t room) {
  if (!event) return 0;
  try {
    return PutBytes(VekApi::RecordOf(*event), out, room);
  } catch (...) {
    VekApi::Flat::PassForcedUnwind();
    return 0;
  }
}

uint32_t CVekApi_RecordHeader(char* out, uint32_t room) {
  return PutBytes(VekApi::kRecordingMagic, out, room);
}
