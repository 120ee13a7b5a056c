// Objects that outlive every process that had them.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "platform/os/posix/SharedObject.h"
#include "shmem/Process.h"
#include "shmem/TShMemChannel.h"

namespace vektest {
namespace {

using Dova::TShMemChannel;
using Dova::Os::TNamedMapping;
using Dova::Os::TSharedObject;

// As a process leaves it that was killed: a file that nobody has locked.
void LeaveBehind(const std::string& name, std::size_t bytes) {
  const int fd = shm_open(TSharedObject::SystemName(name).c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ftruncate(fd, static_cast<off_t>(bytes)), 0);
  ASSERT_EQ(pwrite(fd, "\x20\0\0\0old", 7, 0), 7);
  close(fd);
}

bool IsThere(const std::string& name) {
  struct stat status {};
  return stat(("/dev/shm" + TSharedObject::SystemName(name)).c_str(), &status) == 0;
}

TEST(SharedObject, WhatIsAbandonedIsRemovedAndWhatIsInUseStays) {
  const std::string abandoned = FreshName(), used = FreshName();
  LeaveBehind(abandoned, 4096);
  TShMemChannel channel;
  ASSERT_TRUE(channel.Open(used, 10, true));
  TNamedMapping::RemoveAbandoned();
  EXPECT_FALSE(IsThere(abandoned));
  EXPECT_TRUE(IsThere(used));
}

TEST(SharedObject, CreatingOverWhatIsAbandonedStartsAfreshWithItsOwnSize) {
  const std::string name = FreshName();
  LeaveBehind(name, 70);
  TShMemChannel creator, joiner;
  ASSERT_TRUE(creator.Open(name, 100'000, true)) << creator.Error();
  ASSERT_TRUE(joiner.Open(name)) << joiner.Error();
  EXPECT_EQ(joiner.Write(std::string(100'000, 'x').data(), 100'000), 100'000);
}

// Names of other programs' objects are out of reach.
TEST(SharedObject, NamesAreKeptApartAndDoNotClash) {
  EXPECT_EQ(TSharedObject::SystemName("Global\\a b/c%.C2S"), "/vekshm.a%20b%2Fc%25.C2S");
  EXPECT_EQ(TSharedObject::SystemName("Local\\x"), "/vekshm.x");
  EXPECT_EQ(TSharedObject::SystemName(std::string(248, 'n')).size(), 256u);
  EXPECT_EQ(TSharedObject::SystemName(std::string(249, 'n')), "");
}

}  // namespace
}  // namespace vektest
