// The table of commands, and its lookup.
#include <algorithm>

#include "vekterm/Shell.h"

namespace VekTerm {

const std::vector<Command>& Shell::Commands() {
  static const std::vector<Command> commands{
      {"query",
       "VERB [KEY=VALUE ...]",
       "asks the server, and shows the tables of its answer",
       "Queries keep the rate that the server announced at sign-on. A table called \"error\" is a failure.",
       "query products group=F",
       &Shell::Query,
       {"products", "accounts", "orders", "deals", "positions", "ticks", "stats",
        "group=", "prod=", "rows="}},
      {"new",
       "prod=P side=B|S qty=N price=X [acc=A] [&]",
       "sends a new order and waits for its fate",
       "The price is in points, or MKT. With & at its end the command does not wait: the fate is told when "
       "it "
       "comes.",
       "new prod=TXF side=B qty=2 price=MKT",
       &Shell::Order,
       {"prod=TXF", "prod=MXF", "side=B", "side=S", "qty=", "price=MKT", "acc="}},
      {"cancel",
       "ord=NUMBER [&]",
       "cancels an order of the server",
       "The number is in the acknowledgement, the reports and the answer to: query orders. An order that is "
       "still held back here has no number: withdraw it.",
       "cancel ord=A00001",
       &Shell::Order,
       {"ord="}},
      {"amend",
       "ord=NUMBER [qty=N] [price=X] [&]",
       "changes an order of the server",
       "",
       "amend ord=A00001 price=18240",
       &Shell::Order,
       {"ord=", "qty=", "price="}},
      {"raw",
       "CODE TEXT [&]",
       "sends any text under any code from 4 to 4095",
       "The work id is put in front. \\n in the text is a line end, \\1 the byte 0x01. Codes 128 (query) and "
       "129 "
       "(order, two lines) have answers.",
       "raw 129 \"new\\nprod=TXF side=B qty=1 price=MKT\"",
       &Shell::Raw,
       {"128", "129"}},
      {"burst",
       "N VERB [KEY=VALUE ...]",
       "sends N orders as fast as the rate allows, and waits for all",
       "Set the rate with: limits COUNT/MS, or with --rate.",
       "burst 50 new prod=TXF side=B qty=1 price=15000",
       &Shell::Burst,
       {"new", "prod=TXF", "side=B"}},
      {"withdraw",
       "TICKET | all",
       "takes back orders that are still held here",
       "A ticket is the number behind # in a fate. What is on its way cannot be withdrawn.",
       "withdraw 7",
       &Shell::Withdraw,
       {"all"}},
      {"wait",
       "[up]",
       "waits until every request has its fate, or until the session is up",
       "",
       "wait up",
       &Shell::Wait,
       {"up"}},
      {"expect",
       "TEXT [SECONDS]",
       "waits for a report that contains the text; 10 seconds unless said otherwise",
       "Each report is looked at once: a second expect waits for a later one.",
       "expect Left=0 5",
       &Shell::Expect,
       {"accepted", "fill", "cancelled"}},
      {"fates",
       "[all]",
       "what became of the last 20 requests, or of all",
       "",
       "fates all",
       &Shell::Fates,
       {"all"}},
      {"state", "", "the state of the session, and what it waits for", "", "state", &Shell::State, {}},
      {"limits",
       "[COUNT/MS | off]",
       "how soon a query and an order may go; or sets the rate of orders",
       "",
       "limits 5/1000",
       &Shell::Limits,
       {"off"}},
      {"counters",
       "",
       "counts of the session: fates, messages, bytes, links",
       "",
       "counters",
       &Shell::Counters,
       {}},
      {"times", "", "round trips of queries and orders", "", "times", &Shell::Times, {}},
      {"trace",
       "on | off",
       "shows every message of the wire; passwords are masked",
       "",
       "trace on",
       &Shell::Trace,
       {"on", "off"}},
      {"wide",
       "on | off",
       "shows all columns of tables, even if the terminal is narrower",
       "",
       "wide on",
       &Shell::Wide,
       {"on", "off"}},
      {"password",
       "[FILE]",
       "changes the password; asks for the new one, or takes the first line of a file",
       "The server's answer is for people: whether the password was changed shows at the next sign-on.",
       "password new.txt",
       &Shell::Password,
       {}},
      {"open",
       "[FILE]",
       "signs on again after: close, or after a refusal",
       "Asks for the password after a refusal, or takes the first line of a file.",
       "open",
       &Shell::Open,
       {}},
      {"close", "", "signs off; waits for what is out", "", "close", &Shell::Close, {}},
      {"help", "[COMMAND]", "the commands, or one of them with an example", "", "help new", &Shell::Help, {}},
      {"quit", "", "ends; so does the end of input (Ctrl-D)", "", "quit", &Shell::Quit, {}},
  };
  return commands;
}

namespace {

const Command& Find(const std::string& name) {
  for (const Command& command : Shell::Commands())
    if (name == command.name) return command;
  if (name == "exit") return Find("quit");
  std::string similar;
  for (const Command& command : Shell::Commands())
    if (std::string_view(command.name).starts_with(name.substr(0, 2)))
      similar = std::string(" Did you mean: ") + command.name + "?";
  throw Failure("no command is called \"" + name + "\"." + similar + " Type: help");
}

}  // namespace

void Shell::Run(const std::string& line) {
  const Words words = Divide(line);
  if (words.empty() || words.front().starts_with('#')) return;
  (this->*Find(words.front()).run)(words);
}

std::vector<std::string> Shell::Complete(std::string_view before) const {
  const std::size_t at = before.find_last_of(' ') + 1;
  const std::string_view word = before.substr(at);
  const std::string first(before.substr(0, before.find(' ')));
  std::vector<std::string> all, words;
  for (const Command& command : Commands()) {
    if (at == 0 || first == "help") {
      all.emplace_back(command.name);
    } else if (first == command.name) {
      all = command.completions;
    }
  }
  std::copy_if(all.begin(), all.end(), std::back_inserter(words),
               [&](const std::string& each) { return each.starts_with(word); });
  return words;
}

void Shell::Help(const Words& words) {
  std::string text;
  if (words.size() > 1) {
    const Command& command = Find(words[1]);
    text = std::string(command.name) + ' ' + command.arguments + "\n  " + command.does;
    if (*command.more != '\0') text += std::string("\n  ") + command.more;
    text += std::string("\nExample:\n  ") + command.example;
    return Say("help", text);
  }
  for (const Command& command : Commands()) {
    const std::string name = command.name;
    text += name + std::string(10 - name.size(), ' ') + command.does + '\n';
  }
  Say("help",
      text +
          "\nhelp COMMAND shows how it is written, with an example. Tab completes, arrows bring lines back.");
}

void Shell::Quit(const Words&) {
  over_ = true;
}

}  // namespace VekTerm
