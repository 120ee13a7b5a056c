// Objects that must not be trusted: another user's, and those whose memory another process of this user could
// remove.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "platform/os/posix/SharedObject.h"
#include "shmem/ShMemFixture.h"
#include "support/Forked.h"

namespace vektest {
namespace {

using Dova::Os::TSharedObject;

struct Flaw {
  const char* what;
  unsigned mode;
  bool allocated;
  int seals;
  int error;
};

TEST(SharedObject, IsHeldAgainstWhatWasAgreed) {
  constexpr int kSealed = F_SEAL_SHRINK;
  for (const Flaw& flaw :
       {Flaw{"sound", 0600, true, kSealed, 0}, Flaw{"may shrink", 0600, true, F_SEAL_GROW, EPERM},
        Flaw{"not to be written", 0600, true, kSealed | F_SEAL_WRITE, EPERM},
        Flaw{"open to others", 0666, true, kSealed, EACCES}, Flaw{"sparse", 0600, false, kSealed, ENOSPC}}) {
    const std::string name = FreshName();
    const int fd = memfd_create(("vekshm." + name).c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING);
    ASSERT_EQ(fchmod(fd, flaw.mode), 0);
    ASSERT_EQ(flaw.allocated ? posix_fallocate(fd, 0, 100'000) : ftruncate(fd, 100'000), 0);
    ASSERT_EQ(fcntl(fd, F_ADD_SEALS, flaw.seals), 0);
    TSharedObject object;
    const int joined = object.Join(name);
    EXPECT_EQ(joined != 0 ? joined : object.Map(0), flaw.error) << flaw.what;
    close(fd);
  }
}

TEST(SharedObject, TooShortForARingsHead) {
  const std::string name = FreshName();
  TSharedObject object;
  ASSERT_EQ(object.Make(name, 63), 0);
  ASSERT_EQ(object.Map(0), 0);
  *static_cast<std::uint32_t*>(object.View()) = 36;  // the capacity
  Dova::TShMemChannel channel;
  EXPECT_FALSE(channel.Open(name));
  EXPECT_EQ(channel.Error().rfind("Invalid ShMem size: ", 0), 0u) << channel.Error();
}

// A valid ring of that capacity.
int RingFile(const std::string& name, std::uint32_t capacity) {
  const int fd = memfd_create(("vekshm." + name).c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING);
  const bool made = fchmod(fd, 0600) == 0 && posix_fallocate(fd, 0, 64 + capacity) == 0 &&
                    fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) == 0 && pwrite(fd, &capacity, 4, 0) == 4;
  return made ? fd : -1;
}

// Joining looks the name up twice. The file is replaced by a longer or shorter one in between.
TEST(SharedObject, ExchangedWhileItIsJoined) {
  const std::string name = FreshName();
  const int found = open("/dev/null", O_RDONLY | O_CLOEXEC);  // found before the others
  const int files[] = {RingFile(name, 11), RingFile(name, 8001)};
  ASSERT_GT(files[1], files[0]);
  ASSERT_GT(files[0], found);
  Dova::Os::TNamedEvent events;
  ASSERT_TRUE(events.Open(name + ".REv", Dova::Os::EOpen::Make));
  std::atomic<bool> over{false};
  std::thread gateway([&] {
    for (unsigned i = 0; !over; ++i) dup3(files[i % 2], found, O_CLOEXEC);
  });
  const std::string bytes(9000, 'x');
  int joined = 0, refused = 0;
  while (joined < 100 || refused == 0) {
    Dova::TShMemChannel channel;
    if (channel.Open(name)) {
      EXPECT_LE(channel.Write(bytes.data(), bytes.size()), 8000);
      ++joined;
    } else {
      EXPECT_EQ(channel.Error().rfind("Re.MapViewOfFile:", 0), 0u) << channel.Error();
      ++refused;
    }
  }
  over = true;
  gateway.join();
  for (const int fd : {found, files[0], files[1]}) close(fd);
}

// In a process that cannot have that much memory, because the system would kill programs rather than refuse.
TEST(SharedObject, MoreThanThereIsMemoryIsAnAnswer) {
  const std::string name = FreshName();
  EXPECT_EQ(TestSupport::ExitCodeOfChild([&] {
              const rlimit limit{1 << 20, 1 << 20};
              signal(SIGXFSZ, SIG_IGN);
              TSharedObject object;
              return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? object.Make(name, std::uint64_t{1} << 50) : 255;
            }),
            ENOMEM);
}

TEST(SharedObject, NamesOfNoProcess) {
  TSharedObject object;
  for (const char* const name :
       {"", "x", ":x", "1", "999999999:x", "0:x", "18446744073709551617:x", "/1:x"}) {
    EXPECT_EQ(object.Join(name), ENOENT) << name;
  }
}

// Descriptors of this process through which other processes could shrink its shared memory, of files with
// labels ending so.
std::vector<int> SharedFiles(const std::string& end = "") {
  const std::string tail = end + " (deleted)";
  std::vector<int> files;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone);
    if (target.rfind("/memfd:vekshm.", 0) != 0 || target.size() < tail.size()) continue;
    if (target.compare(target.size() - tail.size(), tail.size(), tail) == 0)
      files.push_back(std::stoi(entry.path().filename()));
  }
  return files;
}

TEST_F(ShMemTest, NobodyShortensWhatTheClientHasJoined) {
  Link();
  ASSERT_EQ(SharedFiles().size(), 3u) << "the gateway's; the client needs none";
  for (const int fd : SharedFiles()) {
    EXPECT_EQ(ftruncate(fd, 0), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096), 0) << "is filled again";
  }
  EXPECT_EQ(mes->Send("x", 1), 1);
  char c = 0;
  EXPECT_EQ(rings.Read(&c, 1), 1);
  EXPECT_EQ(SharedFiles().size(), 0u) << "both have joined: nobody else finds them";
}

// The other process continually clears or sets events and sleeper bits. The link still times out and closes.
TEST_F(ShMemTest, EventsThatLie) {
  for (const std::uint32_t lie : {0u, 0xFFu, 0xFFFFFFFFu, 0xF00u}) {
    events.Clear();
    Open();
    Link();
    void* const view = mmap(nullptr, 64, PROT_READ | PROT_WRITE, MAP_SHARED, SharedFiles(".ev").at(0), 0);
    ASSERT_NE(view, MAP_FAILED);
    std::atomic<bool> over{false};
    std::thread liar([&] {
      while (!over) std::atomic_ref(*static_cast<std::uint32_t*>(view)).store(lie);
    });
    for (int i = 0; i < 100; ++i) EXPECT_EQ(mes->Send("x", 1), 1);
    time.Advance(40'000);
    EXPECT_EQ(events.WaitForEnd(), "broken Hb timeout");
    Close();
    over = true;
    liar.join();
    munmap(view, 64);
  }
}

// The rings and their content belong to the parent.
TEST_F(ShMemTest, AForkedChildLeavesTheRingsAlone) {
  Link();
  ASSERT_EQ(mes->Send("mine", 4), 4);
  EXPECT_EQ(TestSupport::ExitCodeOfChild([&] {
              char c = 0;
              const bool inert = mes->Send("child's", 7) == 0 && mes->Recv(&c, 1) == 0;
              mes->Close();
              mes.reset();
              return inert ? 0 : 1;
            }),
            0);
  char buffer[20] = {};
  EXPECT_EQ(rings.Read(buffer, sizeof buffer), 4);
  EXPECT_STREQ(buffer, "mine");
  rings.Write("yours", 5);
  EXPECT_TRUE(events.WaitForBytes("yours"));
}

TEST_F(ShMemTest, TellsThatThereWereNoDescriptors) {
  ASSERT_TRUE(Create(1000));
  proxy->Ready();
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  proxy->Deliver("Ack:ShMemName:" + base + "\n");
  setrlimit(RLIMIT_NOFILE, &before);
  time.Advance(10'000);
  EXPECT_TRUE(events.WaitForEnd().ends_with(strerror(EMFILE)));
  EXPECT_EQ(mes->EndCause(), Dova::Os::ECause::NoDescriptor);
}

TEST_F(ShMemTest, UsersDoNotJoinEachOther) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  proxy->Ready();
  TSharedObject ours;
  const std::string name = FreshName();
  ASSERT_EQ(ours.Make(name, 4096), 0);
  int made[2], done[2];
  ASSERT_EQ(pipe2(made, O_CLOEXEC), 0);
  ASSERT_EQ(pipe2(done, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    TSharedObject object;
    char c = setgid(65534) == 0 && setuid(65534) == 0 && object.Join(name) == EACCES &&
             object.Make(std::to_string(getpid()) + ":theirs.C2S", 4096) == 0;
    close(done[1]);
    _exit(write(made[1], &c, 1) == 1 && read(done[0], &c, 1) == 0 ? 0 : 1);
  }
  char c = 0;
  ASSERT_EQ(read(made[0], &c, 1), 1);
  ASSERT_EQ(c, 1);
  proxy->Deliver("Ack:ShMemName:" + std::to_string(child) + ":theirs\n");
  time.Advance(10'000);
  EXPECT_EQ(events.LinkLines(), Lines{"error ShMem " + std::to_string(child) +
                                      ":theirs.C2S: CreateFileMapping:Permission denied"});
  for (const int fd : {made[0], made[1], done[0], done[1]}) close(fd);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vektest
