// Commands that send requests, and those that follow them up.
#include <fmt/format.h>

#include <algorithm>

#include "vekdump/Text.h"
#include "vekterm/Shell.h"
#include "vekterm/Tables.h"

namespace VekTerm {
namespace {

using std::chrono::steady_clock;

// Takes the "&" from the end.
bool TakeLater(Words& words) {
  if (words.back() != "&") return false;
  words.pop_back();
  return true;
}

std::string Joined(const Words& words, std::size_t from) {
  std::string text;
  for (std::size_t i = from; i < words.size(); ++i) text += (i == from ? "" : " ") + words[i];
  return text;
}

void ExpectPairs(const Words& words, std::size_t from) {
  for (std::size_t i = from; i < words.size(); ++i)
    if (words[i].find('=') == std::string::npos || words[i].front() == '=')
      throw Failure("\"" + words[i] + "\" is no KEY=VALUE");
}

// Converts \n and \1 as typed.
std::string Unescaped(const std::string& text) {
  std::string made;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : '\0';
    made += next == 'n' ? '\n' : next == '1' ? '\x01' : next == '\\' ? '\\' : text[i];
    if (next == 'n' || next == '1' || next == '\\') ++i;
  }
  return made;
}

// Why a request failed.
std::string FaultOf(const Request& request) {
  if (request.Rejected()) {
    const std::vector<std::string> parts = Parts(request.answer);
    return "the server rejects it" + (parts.size() > 2 ? ": " + parts[2] : "");
  }
  std::string text = CVekApi_Text(vst_Fate, request.fate, 0);
  if (request.reason != 0) text += std::string(": ") + CVekApi_Text(vst_Reason, request.reason, 0);
  return text;
}

}  // namespace

void Shell::Send(std::int32_t code, const std::string& text, bool later) {
  const Request& request = client_.Submit(code, text, later);
  if (later) {
    return Say("sent", fmt::format("#{} {}", request.number, request.workId),
               {{"ticket", request.number}, {"workId", request.workId}});
  }
  client_.Await(request);
  if (!request.Good()) throw Failure(FaultOf(request));
  const Client::Result result = client_.LastResult();
  if (request.fate == vsf_Answered && result && ShowTables(*result, output_))
    throw Failure("the server answered with an error");
  if (request.fate == vsf_Answered) {
    Say("answer", "answered in " + VekDump::Duration(request.tookNs), {{"tookNs", request.tookNs}});
  } else {
    output_.Tell(FateNote(request));
  }
}

void Shell::Query(const Words& given) {
  Words words = given;
  const bool later = TakeLater(words);
  if (words.size() < 2) throw Failure("what is to be asked? For example: query products");
  ExpectPairs(words, 2);
  Send(cvmc_TaskResult, words[1] + '\n' + Joined(words, 2), later);
}

void Shell::Order(const Words& given) {
  Words words = given;
  const bool later = TakeLater(words);
  if (words.size() < 2) throw Failure("arguments are missing. Type: help " + words[0]);
  ExpectPairs(words, 1);
  Send(cvmc_RequestAck, words[0] + '\n' + Joined(words, 1), later);
}

void Shell::Raw(const Words& given) {
  Words words = given;
  const bool later = TakeLater(words);
  if (words.size() < 3) throw Failure("a code and a text are missing. Type: help raw");
  Send(static_cast<std::int32_t>(ReadCount(words[1], 4, 4095, "a code")), Unescaped(Joined(words, 2)), later);
}

void Shell::Burst(const Words& words) {
  if (words.size() < 4) throw Failure("a number, a verb and arguments are missing. Type: help burst");
  const auto count = static_cast<std::size_t>(ReadCount(words[1], 1, 100000, "the number of orders"));
  ExpectPairs(words, 3);
  const std::size_t first = client_.Requests().size();
  const auto begin = steady_clock::now();
  for (std::size_t i = 0; i < count; ++i)
    client_.Submit(cvmc_RequestAck, words[2] + '\n' + Joined(words, 3), false);
  client_.WaitUntil([&] { return client_.Undecided() == 0; }, Client::kLong);
  const auto took = std::chrono::duration_cast<std::chrono::nanoseconds>(steady_clock::now() - begin).count();
  std::size_t rejected = 0, good = 0;
  const auto& requests = client_.Requests();
  for (std::size_t i = first; i < requests.size(); ++i) {
    good += requests[i].Good() ? 1 : 0;
    rejected += requests[i].Rejected() ? 1 : 0;
  }
  Say("burst",
      fmt::format("{} in {}: {} accepted, {} rejected, {} without acknowledgement",
                  VekDump::Counted(count, "order"), VekDump::Duration(took), good, rejected,
                  count - good - rejected),
      {{"orders", static_cast<std::int64_t>(count)},
       {"accepted", static_cast<std::int64_t>(good)},
       {"rejected", static_cast<std::int64_t>(rejected)},
       {"tookNs", std::int64_t{took}}});
  if (good != count) throw Failure("not all orders were accepted");
}

void Shell::Withdraw(const Words& words) {
  if (words.size() != 2) throw Failure("which one? A ticket, or all");
  std::size_t taken = 0;
  const bool all = words[1] == "all";
  const auto wanted = all ? 0 : ReadCount(words[1], 1, 2'000'000'000, "a ticket");
  for (const Request& request : client_.Requests()) {
    if (request.fate != vsf_None || (!all && request.number != wanted)) continue;
    if (client_.Session().Withdraw(request.ticket) == 0) ++taken;
  }
  if (taken == 0 && !all) throw Failure("it is not held here: it is on its way, decided, or was never sent");
  client_.Pump();
  Say("withdrawn", VekDump::Counted(taken, "request") + " withdrawn",
      {{"count", static_cast<std::int64_t>(taken)}});
}

void Shell::Wait(const Words& words) {
  if (words.size() > 1 && words[1] != "up") throw Failure("wait for what? Type: help wait");
  const auto over = [&] {
    if (words.size() == 1) return client_.Undecided() == 0;
    const int state = client_.LastState().state;
    if (state == vss_Refused || state == vss_Stopped || state == vss_Closed)
      throw Failure("the session stays down until it is opened");
    return state == vss_Up;
  };
  if (!client_.WaitUntil(over, std::chrono::minutes(5))) throw Failure("nothing came for five minutes");
}

void Shell::Expect(const Words& words) {
  if (words.size() < 2 || words.size() > 3) throw Failure("a text is missing. Type: help expect");
  const long seconds = words.size() == 3 ? ReadCount(words[2], 1, 3600, "the time in seconds") : 10;
  const auto seen = [&] {
    for (auto& reports = client_.Reports(); !reports.empty();) {
      const std::string report = std::move(reports.front());
      reports.pop_front();
      if (report.find(words[1]) != std::string::npos) return true;
    }
    return false;
  };
  if (!client_.WaitUntil(seen, std::chrono::seconds(seconds)))
    throw Failure("no report with \"" + words[1] + "\" came within " + std::to_string(seconds) + " s");
}

void Shell::Fates(const Words& words) {
  constexpr std::size_t kLast = 20;
  const auto& requests = client_.Requests();
  const bool all = words.size() > 1 && words[1] == "all";
  const std::size_t shown = all ? requests.size() : std::min(requests.size(), kLast);
  Grid grid{"fates", "fates", {"Ticket", "WorkId", "Request", "Fate", "Reason", "Answer", "Took"}, {}, {}};
  grid.headings = grid.columns;
  for (std::size_t i = requests.size() - shown; i < requests.size(); ++i) {
    const Request& request = requests[i];
    std::string text = request.text;
    std::replace(text.begin(), text.end(), '\n', ' ');
    grid.rows.push_back({std::to_string(request.number), request.workId, text,
                         CVekApi_Text(vst_Fate, request.fate, 0), CVekApi_Text(vst_Reason, request.reason, 0),
                         fmt::format("{}", fmt::join(Parts(request.answer), " ")),
                         request.tookNs == 0 ? "" : VekDump::Duration(request.tookNs)});
  }
  output_.Show(grid);
}

}  // namespace VekTerm
