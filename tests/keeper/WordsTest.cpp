// An event as one line of a log, in UTF-8 whatever the encoding of its texts.
#include <gtest/gtest.h>

#include "keeper/Words.h"

namespace VekApi {
namespace {

TEST(Words, DescribeConvertsTheServersAndKeepsTheLibrarys) {
  CVekEvent event{};
  event.size = sizeof event;
  event.detail = "\xB1\x4B\xBD\x58\nno";  // code page 950
  event.kind = vse_State;
  EXPECT_NE(Describe(event).find("\u5BC6\u78BC no"), std::string::npos) << Describe(event);
  event.kind = vse_Trace;
  event.detail = "\u5BC6\u78BC";
  EXPECT_NE(Describe(event).find("\u5BC6\u78BC"), std::string::npos) << Describe(event);
}

}  // namespace
}  // namespace VekApi
