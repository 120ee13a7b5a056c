#include "platform/transport/TCPSetting.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Dova {
namespace {

TEST(TcpSetting, WhatIsUnderstood) {
  const auto setting = TTCPSetting::Parse("[fe80::1]:9000  spin=50 n  sq=1000 mm=4096 M0 ct=5");
  ASSERT_TRUE(setting);
  EXPECT_EQ(setting->host, "fe80::1");
  EXPECT_EQ(setting->port, 9000);
  EXPECT_TRUE(setting->noDelay);
  EXPECT_EQ(setting->spinUs, 50);
  EXPECT_EQ(setting->sendQueueBytes, 1000u);
  EXPECT_EQ(setting->maxMessageBytes, 4096u);
  EXPECT_EQ(setting->connectTimeoutMs, 5);
  EXPECT_TRUE(TTCPSetting::Parse("gw.example:1 n n M0"));
}

TEST(TcpSetting, AnythingElseIsRefused) {
  std::istringstream refusals(
      ";:1;h;h:;h:0;h:65536;h:+1;h:1x;h:1 N;h:1 M1;h:1 n=1;h:1 ct;h:1 ct=0;h:1 ct=;h:1 ct=-1;h:1 ct=1s;"
      "h:1 ct=1 ct=1;h:1 sq=99999999999;h:1 spin=1000001;h:1 mm=4095;h:1 mm=1073741825;"
      "::1:5;[::1:5;a:b:1;[]:5;[::1]5;a b:1;h:1\tn");
  int count = 0;
  for (std::string text; std::getline(refusals, text, ';'); ++count)
    EXPECT_FALSE(TTCPSetting::Parse(text)) << text;
  EXPECT_EQ(count, 28);
  for (const char* text : {"h:1\0n", "h\0:1"}) EXPECT_FALSE(TTCPSetting::Parse(std::string(text, 5)));
  std::string refused;
  EXPECT_FALSE(TTCPSetting::Parse("h:1 n ct=x M0", &refused));
  EXPECT_EQ(refused, "ct=x");
}

}  // namespace
}  // namespace Dova
