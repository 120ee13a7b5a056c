// Texts of the library for users, in code page 950, written as bytes to be independent of a compiler's source
// and execution character sets; each character is shown beside its bytes.
#pragma once

namespace VekApi {

// clang-format off
// The application name makes the connect request too long.
inline constexpr char kTextBadApName[] =
    "\xA4\xA3"  // 不
    "\xA5\xBF"  // 正
    "\xBD\x54"  // 確
    "\xAA\xBA"  // 的
    "["
    "\xAB\xC8"  // 客
    "\xA4\xE1"  // 戶
    "\xBA\xDD"  // 端
    "AP"
    "\xA6\x57"  // 名
    "\xBA\xD9"  // 稱
    "]";

// The setting is invalid, or its messenger could not be opened.
inline constexpr char kTextBadSetting[] =
    "\xB3\x73"  // 連
    "\xBD\x75"  // 線
    "\xB0\xD1"  // 參
    "\xBC\xC6"  // 數
    "\xBF\xF9"  // 錯
    "\xBB\x7E"  // 誤
    ;

// The sign-on request is too long.
inline constexpr char kTextSignOnTooLong[] =
    "\xA8\xCF"  // 使
    "\xA5\xCE"  // 用
    "\xAA\xCC"  // 者
    "ID"
    "\xA9\xCE"  // 或
    "\xB1\x4B"  // 密
    "\xBD\x58"  // 碼
    "\xA4\xD3"  // 太
    "\xAA\xF8"  // 長
    "!";

// The password change request is too long.
inline constexpr char kTextChgPassTooLong[] =
    "\xA8\xCF"  // 使
    "\xA5\xCE"  // 用
    "\xAA\xCC"  // 者
    "ID"
    "\xA9\xCE"  // 或
    "\xB1\x4B"  // 密
    "\xBD\x58"  // 碼
    "\xAA\xF8"  // 長
    "\xAB\xD7"  // 度
    "\xA4\xD3"  // 太
    "\xAA\xF8"  // 長
    "!";
// clang-format on

inline constexpr char kTextDisconnect[] = "Disconnect()";
inline constexpr char kTextHeartbeatTimeout[] = "Heartbeat timeout";
inline constexpr char kTextUnknownServer[] = "Unknown server";
inline constexpr char kTextConnectTimeout[] = "Connect timeout";
inline constexpr char kTextSignOnTimeout[] = "Sign-on timeout";
// At most 15 bytes: fits into a std::string without allocation.
inline constexpr char kTextNoMemory[] = "Out of memory";

}  // namespace VekApi
