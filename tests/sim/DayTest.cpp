#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "RawClient.h"
#include "sim/SimDay.h"
#include "sim/SimText.h"

namespace VekSim {
namespace {

std::string ErrorOf(std::string_view json) {
  try {
    ReadDay(json, "day.json");
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

std::string Rule(const std::string& rule) {
  return "{\n\"rules\": [\n" + rule + "\n]}";
}

TEST(Day, SaysLineFieldAndWhatIsWrong) {
  const struct {
    std::string json, error;
  } cases[] = {
      {"", "day.json:1: syntax error"},
      {"{\n\"rules\": [}\n}", "day.json:2: syntax error"},
      {"[]", "day.json:1: expected an object"},
      {"{}", "day.json:1: \"rules\" is missing"},
      {"{\"seed\": 1,\n\"seed\": 2}", "day.json:2: seed: is there twice"},
      {"{\"rules\": [],\n\"sed\": 1}", "day.json:2: sed: there is no such field here; known are $schema, "},
      {"{\"rules\": [],\n\"seed\": -1\n}", "day.json:2: seed: expected a whole number from 0 to 4294967295"},
      {"{\"rules\": [], \"start\": \"8:45\"}", "day.json:1: start: expected a time of day"},
      {std::string(40, '['), "day.json:1: nested too deep"},
      {Rule("7"), "day.json:3: rules[0]: expected a rule"},
      {Rule("{\"do\": []}"), "day.json:3: rules[0]: needs one of \"on\" and \"at\""},
      {Rule("{\"on\": \"new\",\n\"do\": []}"), "day.json:4: rules[0].do: is empty"},
      {Rule("{\"on\": \"new\", \"do\": [\n{\"fill\": 1, \"after\":\n-5\n}]}"),
       "day.json:5: rules[0].do[0].after: expected a whole number from 0 to 86400000"},
      {Rule("{\"on\": \"new\", \"do\": [{\"fill\": 1.5}]}"),
       "day.json:3: rules[0].do[0].fill: expected a whole"},
      {Rule("{\"on\": \"new\", \"do\": [{\"fill\": 1, \"cut\": 1}]}"), "an action does one thing"},
      {Rule("{\"on\": \"new\", \"do\": [{\"fly\": 1}]}"),
       "do[0]: expected an action, an object with one of: accept, "},
      {Rule("{\"on\": \"new\", \"do\": [{\"ack\": \"late\"}]}"), "\"late\" needs \"after\""},
      {Rule("{\"on\": \"connect\", \"do\": [{\"fill\": 1}]}"), "do[0]: is done to a request"},
      {Rule("{\"at\": 5, \"do\": [{\"reject\": 101}]}"), "do[0]: is done to a request; this rule has a time"},
      {Rule("{\"at\": \"08:44:59\", \"do\": [{\"cut\": 1}]}"), "rules[0].at: is before the day's \"start\""},
      {Rule("{\"at\": 5, \"do\": [{\"move\": \"XYZ\", \"to\": 1}]}"), "move: there is no product \"XYZ\""},
      {Rule("{\"at\": 5, \"nth\": 1, \"do\": [{\"cut\": 1}]}"), "rules[0].nth: there is no such field here"},
  };
  for (const auto& one : cases)
    EXPECT_NE(ErrorOf(one.json).find(one.error), std::string::npos) << ErrorOf(one.json);
}

std::string Text(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

SimDay Example(const std::string& name) {
  return ReadDay(Text(std::filesystem::path(VEKSIM_DAYS) / name), name);
}

SimDay Rules(const std::string& rules, std::uint32_t seed = 1) {
  return ReadDay("{\"seed\": " + std::to_string(seed) + ", \"rules\": [" + rules + "]}", "day");
}

TEST(Day, ExamplesAreReadAndCutAnywhereAreAnErrorWithALine) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VEKSIM_DAYS)) {
    std::string json = Text(entry.path());
    ++files;
    EXPECT_EQ(ErrorOf(json), "") << entry.path();
    while (json.ends_with('\n')) json.pop_back();
    for (std::size_t size = 0; size < json.size(); ++size) {
      const std::string error = ErrorOf(json.substr(0, size));
      const auto lines = 1 + std::count(json.begin(), json.begin() + static_cast<std::ptrdiff_t>(size), '\n');
      const std::string before = "day.json:" + std::to_string(lines) + ": ";
      ASSERT_TRUE(error.starts_with(before) || json[size - 1] == '\n') << size << ' ' << error;
      ASSERT_NE(error, "");
    }
  }
  EXPECT_GE(files, 4u);
}

// A server whose clock stands still until a test advances it, with a client signed on.
struct Played {
  explicit Played(const SimDay& day) : server(Config(day)), client(server) { client.Enter(); }
  SimConfig Config(const SimDay& day) {
    SimConfig config;
    config.day = day;
    config.clock = [this] { return std::chrono::milliseconds(ms); };
    config.log = [this](const SimNote& note) { log += JsonOf(note, {}) + '\n'; };
    return config;
  }
  std::string Order(const std::string& id, const std::string& more = "qty=3 price=18250") {
    client.Request(Code::kAck, id + " new\nprod=TXF side=B " + more);
    return client.NextText();
  }
  void At(int time) {
    ms = time;
    server.Tick();
  }
  // The kind of the next report, and the remaining quantity of the order.
  std::string Report() {
    const std::string text = client.NextText();
    const std::size_t left = text.find("Left=");
    return text.substr(0, text.find('\1')) + ' ' + text.substr(left, text.find('\1', left) - left);
  }

  std::atomic<int> ms{0};
  std::string log;
  SimServer server;
  RawClient client;
};

TEST(Day, FillsAndRejectsOrdersWhenItSays) {
  Played day(
      Rules(R"({"on": "new", "nth": 1, "do": [{"fill": 1, "after": 100}, {"reject": 105, "after": 300}]},
                {"on": "new", "nth": 2, "do": [{"reject": 301}]},
                {"at": 400, "do": [{"move": "TXF", "to": 18200, "lots": 1}]})"));
  EXPECT_EQ(day.Order("a"),
            "a\1accepted\1"
            "A00001");
  EXPECT_EQ(day.Report(), "accepted Left=3");
  EXPECT_EQ(day.Order("b"), "b\1rejected\1" + ToBig5("系統拒絕") +
                                "\1"
                                "301");
  day.At(99);
  day.At(100);
  EXPECT_EQ(day.Report(), "fill Left=2");
  day.At(399);
  EXPECT_EQ(day.Report(), "rejected Left=0");
  EXPECT_EQ(day.Order("c", "qty=2 price=18240"),
            "c\1accepted\1"
            "A00002");
  EXPECT_EQ(day.Report(), "accepted Left=2");
  day.At(400);
  EXPECT_EQ(day.Report(), "fill Left=1");
}

TEST(Day, AcknowledgesLateTwiceOrNever) {
  Played day(Example("bad-acks.json"));
  const std::string rest = "qty=1 price=18000";
  EXPECT_TRUE(day.Order("a", rest).starts_with("accepted\1")) << "the report is first";
  day.At(400);
  EXPECT_EQ(day.client.NextText(),
            "a\1accepted\1"
            "A00001");
  EXPECT_EQ(day.Order("b", rest),
            "b\1accepted\1"
            "A00002");
  EXPECT_EQ(day.client.NextText(),
            "b\1accepted\1"
            "A00002");
  day.client.NextText();
  EXPECT_TRUE(day.Order("c", rest).starts_with("accepted\1"));
}

TEST(Day, RestartsWithItsOrdersOrWithout) {
  for (const char* memory : {"memory", "blank"}) {
    Played day(Rules(R"({"on": "new", "do": [{"restart": ")" + std::string(memory) + R"(", "down": 50}]})"));
    EXPECT_EQ(day.Order("a", "qty=1 price=18000"), "") << "the link ends before the answer";
    day.At(50);
    RawClient again(day.server);
    again.Enter();
    again.Request(Code::kTask, "q orders");
    EXPECT_EQ(again.NextText().find("A00001") != std::string::npos, memory == std::string("memory"));
  }
}

TEST(Day, CutsBehindTheByteAfterCarryingOut) {
  Played day(Example("cut-lines.json"));
  day.Order("a", "qty=1 price=18000");
  day.Report();
  day.client.Request(Code::kAck, "b new\nprod=TXF side=B qty=1 price=18000");
  EXPECT_EQ(day.client.ReadAll().size(), 5u);
  EXPECT_EQ(day.server.Seen().orders.size(), 2u);
}

TEST(Day, FillsInPartsAndRefusesAsTheExamplesSay) {
  Played fills(Example("fills.json"));
  fills.Order("a");
  fills.Report();
  for (const auto& [time, report] :
       {std::pair{200, "fill Left=2"}, {500, "fill Left=1"}, {900, "fill Left=0"}}) {
    fills.At(time);
    EXPECT_EQ(fills.Report(), report);
  }
  Played rejects(Example("rejects.json"));  // its first sign-on was refused
  rejects.client.SignOn("trader/", "secret");
  rejects.client.NextText();
  EXPECT_TRUE(
      rejects.Order("a").ends_with("\1"
                                   "104"));
  rejects.Order("b");
  rejects.Report();
  rejects.At(300);
  EXPECT_EQ(rejects.Report(), "rejected Left=0");
}

TEST(Day, IsTheSameForTheSameSeed) {
  const auto logOf = [](std::uint32_t seed) {
    Played day(Rules(R"({"on": "new", "do": [{"fill": 1, "after": 35}]},
                  {"at": 10, "every": 10, "times": 200, "do": [{"move": "TXF", "walk": 9, "lots": 1}]},
                  {"at": 500, "do": [{"garbage": 10}]})",
                     seed));
    day.Order("a");
    day.Report();
    day.Order("b", "qty=3 price=18251 tif=IOC");
    day.Report();
    for (const int time : {100, 700, 2500}) day.At(time);
    day.server.Stop();
    return day.log;
  };
  const std::string log = logOf(7);
  EXPECT_EQ(log, logOf(7));
  EXPECT_NE(log, logOf(8));
}

}  // namespace
}  // namespace VekSim
