// Runs seeds. Without arguments: the daily ones, as a test.
//
//   --seeds FROM..TO   runs them; the first that fails is reported and shortened (unless --long), and the
//                      exit status is 1; --sessions, --loops, --rings: only those of kept sessions, of
//                      message loops, of shared memory
//   --seed N           runs one; --without I,J,... leaves out these steps, --calm switches threads only where
//                      one waits, --plain makes all servers behave, --tell prints the events
#include <gtest/gtest.h>

#ifdef _WIN32
#define popen _popen
#define pclose _pclose
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "simulation/LoopWorld.h"
#include "simulation/SessionWorld.h"

namespace {

std::atomic<long> liveBlocks{0};
const char* program = "";
std::uint64_t running = 0;
bool shrinks = false;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  vektest::Scheduler* const scheduler = vektest::Scheduler::Current();
  if (scheduler && scheduler->RefusesMemory()) throw std::bad_alloc();
  void* const block = std::malloc(size ? size : 1);
  if (!block) throw std::bad_alloc();
  liveBlocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  if (block) liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}
// Makes use after free visible.
[[gnu::noinline]] void operator delete(void* block, std::size_t size) noexcept {
  if (block) std::memset(block, 0xDD, size);
  operator delete(block);
}

namespace vektest {
namespace {

struct Options {
  std::uint64_t from = 0, to = 0;
  std::set<int> without;
  bool calm = false, plain = false, sessions = false, loops = false, rings = false;
};

std::string Arguments(const Options& run) {
  std::string text = " --seed " + std::to_string(run.from);
  std::string left;
  for (const int step : run.without) left += (left.empty() ? "" : ",") + std::to_string(step);
  if (!left.empty()) text += " --without " + left;
  return text + (run.calm ? " --calm" : "") + (run.plain ? " --plain" : "");
}

std::uint64_t RunOne(const Options& run, std::uint64_t seed) {
  running = seed;
  const Story story(seed, run.without, run.calm, run.plain);
  if (World::tell) std::printf("%s", story.Tell().c_str());
  Scheduler scheduler(seed, story.chances);
  {
    std::unique_ptr<World> world;
    if (story.loops) world = std::make_unique<LoopWorld>(story, scheduler);
    if (story.sessions) world = std::make_unique<SessionWorld>(story, scheduler);
    if (!world) world = std::make_unique<World>(story, scheduler);
    scheduler.Start("main", [&] { world->Run(); });
    scheduler.Run();
  }
  return scheduler.Trace();
}

// The first of several runs makes the allocations that are made once and kept.
std::uint64_t RunCounted(const Options& run, std::uint64_t seed) {
  long kept = 0;
  for (int round = 0; round < 3; ++round) {
    const long before = liveBlocks;
    const std::uint64_t trace = RunOne(run, seed);
    kept = liveBlocks - before;
    if (kept <= 0) return trace;
  }
  Fail("memory", std::to_string(kept) + " blocks were not given back");
}

// ---- shortening a story ----

// The kind of failure, "crash" if none was reported, empty if the run succeeds.
std::string FailureOf(const Options& run) {
  std::FILE* const output = popen((program + Arguments(run) + " 2>&1").c_str(), "r");
  if (!output) return {};
  std::string text;
  char part[4096];
  while (const std::size_t count = std::fread(part, 1, sizeof part, output)) text.append(part, count);
  if (pclose(output) == 0) return {};
  const std::string start = "seed " + std::to_string(run.from) + ": ";
  const std::size_t at = text.find(start);
  return at == std::string::npos
             ? "crash"
             : text.substr(at + start.size(), text.find(':', at + start.size()) - at - start.size());
}

// Leaves out everything not needed for the same failure, until nothing more can be left out.
Options Shorter(Options run, const std::string& failure) {
  bool shorter = false;
  const auto tried = [&](auto change) {
    Options next = run;
    change(next);
    if (FailureOf(next) != failure) return;
    run = next;
    shorter = true;
  };
  tried([](Options& next) { next.plain = true; });
  tried([](Options& next) { next.calm = true; });
  do {
    shorter = false;
    for (std::size_t part = 16; part > 0; part /= 2) {
      const Story story(run.from, run.without, run.calm, run.plain);
      for (std::size_t at = 0; at < story.steps.size(); at += part) {
        tried([&](Options& next) {
          for (std::size_t i = at; i < std::min(at + part, story.steps.size()); ++i)
            next.without.insert(story.steps[i].id);
        });
      }
    }
  } while (shorter);
  return run;
}

[[noreturn]] void TellFailure(const Options& found) {
  const std::string failure = FailureOf(found);
  if (failure.empty()) {
    std::printf("alone the seed does not fail: what an earlier run left behind matters\n");
    std::fflush(stdout);
    std::_Exit(1);
  }
  const Options run = shrinks ? Shorter(found, failure) : found;
  const Story story(run.from, run.without, run.calm, run.plain);
  std::printf("%s\nto see it again: test_simulation%s --tell\n", story.Tell().c_str(),
              Arguments(run).c_str());
  std::fflush(stdout);
  std::_Exit(1);
}

void RunSeeds(const Options& run) {
  const auto begun = std::chrono::steady_clock::now();
  std::uint64_t trace = 0;
  unsigned long long count = 0;
  for (std::uint64_t seed = run.from; seed <= run.to; ++seed) {
    if (run.sessions && !Story::HasSessions(seed)) continue;
    if (run.loops && !Story::HasLoops(seed)) continue;
    if (run.rings && !Story::HasRings(seed)) continue;
    ++count;
    trace ^= RunCounted(run, seed);
    if (seed % 20000 != 19999) continue;
    std::printf("... %llu, %zu states\n", static_cast<unsigned long long>(seed), World::reached.size());
    std::fflush(stdout);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
  std::printf("%llu seeds in %.1f s, %.0f a second, %zu states, trace %016llx\n", count, took.count(),
              static_cast<double>(count) / took.count(), World::reached.size(),
              static_cast<unsigned long long>(trace));
}

Options Parse(int argc, char** argv) {
  Options run;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const char* const value = i + 1 < argc ? argv[i + 1] : "";
    if (word == "--seed") run.from = run.to = std::strtoull(value, nullptr, 10);
    if (word == "--seeds") {
      run.from = std::strtoull(value, nullptr, 10);
      const char* const dots = std::strstr(value, "..");
      run.to = dots ? std::strtoull(dots + 2, nullptr, 10) : run.from;
      shrinks = true;
    }
    if (word == "--without") {
      for (const char* at = value; *at; at += *at == ',')
        run.without.insert(static_cast<int>(std::strtol(at, const_cast<char**>(&at), 10)));
    }
    if (word == "--long") shrinks = false;
    run.sessions = run.sessions || word == "--sessions";
    run.loops = run.loops || word == "--loops";
    run.rings = run.rings || word == "--rings";
    run.calm = run.calm || word == "--calm";
    run.plain = run.plain || word == "--plain";
    World::tell = World::tell || word == "--tell";
    if (word == "--states")
      std::atexit([] {
        for (const auto& each : World::reached) std::printf("  %s\n", each.c_str());
      });
  }
  return run;
}

TEST(Simulation, SeedsOfEveryDay) {
  EXPECT_EQ(std::system((std::string(program) + " --seeds 1..4000").c_str()), 0);
}

// Each was the only one of hundreds of thousands that found its fault: a link that was silent, became ready
// again and had no heartbeat; a failed link whose end let the application connect, and then passed for the
// new one.
TEST(Simulation, RareSeeds) {
  for (const char* const seed : {"4231744", "4719314"})
    EXPECT_EQ(std::system((std::string(program) + " --seed " + seed).c_str()), 0) << seed;
}

// Among them runs whose links end while memory is short.
TEST(Simulation, SessionsOfEveryDay) {
  EXPECT_EQ(std::system((std::string(program) + " --seeds 20001..24000 --sessions").c_str()), 0);
}

TEST(Simulation, RingsOfEveryDay) {
  EXPECT_EQ(std::system((std::string(program) + " --seeds 2001..5000 --rings").c_str()), 0);
}

}  // namespace

void Fail(const char* kind, const std::string& text) {
  std::printf("seed %llu: %s: %s\n", static_cast<unsigned long long>(running), kind, text.c_str());
  std::fflush(stdout);
  if (!shrinks) std::_Exit(1);
  Options found;
  found.from = found.to = running;
  TellFailure(found);
}

}  // namespace vektest

int main(int argc, char** argv) {
  program = argv[0];
  static char output[8192];  // so that a failure is told even if the heap is broken
  std::setvbuf(stdout, output, _IOFBF, sizeof output);
  for (const int fault : {SIGSEGV, SIGABRT, SIGILL, SIGFPE})
    std::signal(fault, [](int number) {
      std::signal(number, SIG_DFL);
      vektest::Fail("crash", "signal " + std::to_string(number));
    });
  if (argc > 1 && std::strncmp(argv[1], "--seed", 6) == 0) {
    vektest::RunSeeds(vektest::Parse(argc, argv));
    return 0;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
