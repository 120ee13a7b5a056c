#include "platform/os/GiveBack.h"

#include <gtest/gtest.h>

#include <string>

namespace Dova::Os {
namespace {

TEST(GiveBack, MemoryBesideItIsUntouched) {
  for (const std::size_t from : {0, 1, 4095, 4096, 5000}) {
    for (const std::size_t size : {0, 1, 4095, 8191, 8192, 50000}) {
      std::string memory(65536, 'x');
      GiveBack(memory.data() + from, size);
      EXPECT_GE(memory.find_first_not_of('x'), from) << from << " " << size;
      EXPECT_EQ(memory.substr(from + size), std::string(memory.size() - from - size, 'x'))
          << from << " " << size;
      memory.assign(memory.size(), 'y');
      EXPECT_EQ(memory.find_first_not_of('y'), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace Dova::Os
