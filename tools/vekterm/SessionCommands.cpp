// Commands about the session.
#include <fmt/core.h>

#include <algorithm>

#include "platform/runtime/Wipe.h"
#include "vekdump/Text.h"
#include "vekterm/Shell.h"

namespace VekTerm {
namespace {

std::string WaitText(std::int32_t ms) {
  return ms == 0  ? "now"
         : ms < 0 ? "after an acknowledgement, or when the session is up"
                  : fmt::format("in {} ms", ms);
}

bool IsOn(const Words& words) {
  if (words.size() != 2 || (words[1] != "on" && words[1] != "off"))
    throw Failure(words[0] + " on, or " + words[0] + " off?");
  return words[1] == "on";
}

std::string Asked(const char* prompt) {
  const auto secret = AskSecret(prompt);
  if (!secret || secret->empty()) throw Failure("no password was given");
  return *secret;
}

}  // namespace

void Shell::State(const Words&) {
  const CVekSessionStats stats = client_.Session().Stats();
  const CVekEvent& last = client_.LastState();
  Say("session",
      fmt::format("{}; link {}, {} held, {} out", CVekApi_Text(vst_State, last.state, 0), last.link,
                  stats.held, stats.out) +
          (client_.StateDetail().empty() ? "" : ": " + client_.StateDetail()),
      {{"state", CVekApi_Text(vst_State, last.state, 0)},
       {"number", std::int64_t{last.state}},
       {"link", std::int64_t{last.link}},
       {"held", std::int64_t{stats.held}},
       {"out", std::int64_t{stats.out}}});
}

void Shell::Limits(const Words& words) {
  if (words.size() > 1) {
    int count = 0, ms = 0;
    if (!ReadRate(words[1], count, ms)) throw Failure("a rate is COUNT/MS, such as 5/1000, or off");
    client_.SetRate(count, ms);
  }
  const std::int32_t query = client_.Session().WaitMs(cvmc_TaskResult);
  const std::int32_t order = client_.Session().WaitMs(cvmc_RequestAck);
  Say("limits", fmt::format("a query may go {}; an order may go {}", WaitText(query), WaitText(order)),
      {{"queryWaitMs", std::int64_t{query}}, {"orderWaitMs", std::int64_t{order}}});
}

void Shell::Counters(const Words&) {
  const CVekSessionStats stats = client_.Session().Stats();
  Grid grid{"counters", "counters", {"Name", "Count"}, {"Name", "Count"}, {}};
  const auto add = [&](const std::string& name, std::uint64_t count) {
    grid.rows.push_back({name, std::to_string(count)});
  };
  for (int fate = vsf_Refused; fate <= vsf_Unknown; ++fate) {
    if (stats.fates[fate] != 0) add(CVekApi_Text(vst_Fate, fate, 0), stats.fates[fate]);
  }
  add("held now", stats.held), add("held at most", stats.heldMost), add("out now", stats.out);
  add("late answers", stats.late), add("stray answers", stats.stray);
  add("waits for the rate", stats.gateWaits), add("attempts to connect", stats.links);
  add("messages received", stats.messagesIn), add("messages sent", stats.messagesOut);
  add("bytes received", stats.bytesIn), add("bytes sent", stats.bytesOut);
  add("seconds up", static_cast<std::uint64_t>(std::max<std::int64_t>(stats.upNs, 0) / 1'000'000'000));
  output_.Show(grid);
}

void Shell::Times(const Words&) {
  Grid grid{"times", "round trips", {"What", "Count", "Least", "Median", "P90", "P99", "Most"}, {}, {}};
  grid.headings = grid.columns;
  for (const auto& [code, name] : {std::pair{128, "queries"}, std::pair{129, "orders"}}) {
    std::vector<std::int64_t> times;
    for (const Request& request : client_.Requests())
      if (request.code == code && request.tookNs != 0) times.push_back(request.tookNs);
    if (times.empty()) continue;
    std::sort(times.begin(), times.end());
    const auto at = [&](std::size_t percent) {
      return VekDump::Duration(times[(times.size() - 1) * percent / 100]);
    };
    grid.rows.push_back({name, std::to_string(times.size()), at(0), at(50), at(90), at(99), at(100)});
  }
  output_.Show(grid);
}

void Shell::Trace(const Words& words) {
  client_.ShowTrace(IsOn(words));
}

void Shell::Wide(const Words& words) {
  output_.ShowWide(IsOn(words));
}

void Shell::Password(const Words& words) {
  std::string next = words.size() > 1 ? ReadSecret(words[1]) : Asked("New password: ");
  if (words.size() == 1 && Asked("Again: ") != next) throw Failure("the two are not the same");
  const Request& request = client_.ChangePassword(password_, next);
  client_.Await(request);
  if (request.fate != vsf_Answered)
    throw Failure(std::string(CVekApi_Text(vst_Fate, request.fate, 0)) + ": " +
                  CVekApi_Text(vst_Reason, request.reason, 0));
  Say("password",
      "the server says: " + VekApi::ToUtf8(request.answer) + "\nThe next sign-on uses the new password.");
  Dova::WipeText(password_);
  password_ = std::move(next);
  if (client_.LastState().state == vss_Up) client_.SetPassword(password_);
}

void Shell::Open(const Words& words) {
  if (words.size() > 1) password_ = ReadSecret(words[1]);
  if (words.size() == 1 && client_.LastState().state == vss_Refused) password_ = Asked("Password: ");
  client_.Open(password_);
  if (!client_.WaitUntilSettled(std::chrono::seconds(60))) throw Failure("the session does not come up");
}

void Shell::Close(const Words&) {
  client_.Session().Close(std::chrono::seconds(10));
  client_.WaitUntil([&] { return client_.LastState().state == vss_Closed; }, std::chrono::seconds(15));
}

}  // namespace VekTerm
