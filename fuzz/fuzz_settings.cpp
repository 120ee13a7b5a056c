// Settings of messengers: a line of its own each way they are read.
#include <optional>
#include <vector>

#include "fuzz/Input.h"
#include "platform/transport/TCPSetting.h"
#include "platform/transport/TMesRegs.h"
#include "shmem/TShMemCli.h"
#include "support/TVirtualTimerQueue.h"
#include "vekapi/VekSessionC.h"

namespace {

using Dova::TTCPSetting;
using vekfuzz::Check;

std::vector<std::string> WordsOf(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : text + ' ') {
    if (c != ' ') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  return words;
}

// The setting in its longest form.
std::string TextOf(const TTCPSetting& setting) {
  const bool bare = setting.host.find(':') == std::string::npos;
  return "  " + (bare ? setting.host : "[" + setting.host + "]") + ":" + std::to_string(setting.port) +
         " spin=" + std::to_string(setting.spinUs) + " mm=" + std::to_string(setting.maxMessageBytes) +
         " sq=" + std::to_string(setting.sendQueueBytes) +
         "  ct=" + std::to_string(setting.connectTimeoutMs) + (setting.noDelay ? " M0 n n" : " M0");
}

void CheckUnderstood(const TTCPSetting& setting, const std::string& text) {
  Check(
      !setting.host.empty() && setting.host.find_first_of(std::string_view(" []\0", 4)) == std::string::npos,
      "a host");
  Check(setting.port != 0 && setting.connectTimeoutMs >= 1 && setting.connectTimeoutMs <= 3'600'000,
        "numbers");
  Check(setting.sendQueueBytes >= 1 && setting.sendQueueBytes <= INT32_MAX, "the queue");
  Check(setting.maxMessageBytes >= 4096 && setting.maxMessageBytes <= 1 << 30, "the longest message");
  Check(setting.spinUs >= 0 && setting.spinUs <= 1'000'000, "the time to poll");
  const std::string whole = TextOf(setting);
  const auto again = TTCPSetting::Parse(whole);
  Check(again && TextOf(*again) == whole, "written out and read again");
  std::string refused;
  Check(!TTCPSetting::Parse(text + " nonsense", &refused) && refused == "nonsense", "a word too much");
}

void CheckTcp(const std::string& text) {
  std::string refused = "?";
  if (const auto setting = TTCPSetting::Parse(text, &refused)) return CheckUnderstood(*setting, text);
  const auto words = WordsOf(text);
  Check(words.empty() ? refused.empty() : std::find(words.begin(), words.end(), refused) != words.end(),
        "the word that was refused");
}

// Those of a link.
const Dova::TMesRegs& Kinds() {
  static const Dova::TMesRegs kinds = [] {
    Dova::TMesRegs made(Dova::TMesRegs::GetClientMesRegs());
    made.Register("ShMemCli", &Dova::TShMemCli::Make);
    return made;
  }();
  return kinds;
}

// A setting that no messenger takes ends the link at once, and says so.
void CheckClient(const std::string& setting) {
  CVekClient client = CVekClient_Create(nullptr, nullptr);
  Check(CVekClient_Connect(&client, setting.c_str(), "Fuzz", "1", "id", "", "pass"), "an attempt");
  Check(CVekClient_State(&client) == cvcs_LinkError && CVekClient_LinkReason(&client) == vsr_BadSetting,
        "a bad setting");
  CVekClient_Delete(&client);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static TestSupport::TVirtualTimerQueue time;
  static const CVekClient anchor = CVekClient_Create(nullptr, nullptr);  // keeps the library's threads
  Check(anchor.object != nullptr, "a client");
  vekfuzz::Input input(data, size);
  while (!input.Empty()) {
    const std::string text = input.Text();
    CheckTcp(text);
    const std::string read = text.c_str();
    const auto chosen = Kinds().CreateMes(read.starts_with(':') ? read.substr(1) : "TCPClient:" + read);
    if (chosen) {
      Check(chosen->LinkTimeoutMs() >= 1 && chosen->SendQueueBytes() >= 1, "a messenger's limits");
    } else {
      CheckClient(read);
    }
  }
  return 0;
}
