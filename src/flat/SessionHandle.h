// The basis of the session's functions: finds the session of a handle, stops exceptions, and copies
// structures whose versions differ.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "flat/ForcedUnwind.h"
#include "keeper/TSession.h"
#include "vekapi/VekSessionC.h"

namespace VekApi::Flat {

// Reads a structure of the caller's version; members unknown to that version are 0. False if fewer than
// `needed` bytes are there.
template <class T>
bool Take(const T* given, std::size_t needed, T& taken) {
  if (!given || given->size < needed) return false;
  if (given->size >= sizeof taken) {
    std::memcpy(&taken, given, sizeof taken);
  } else {
    std::memcpy(&taken, given, given->size);
  }
  return true;
}

// The reverse: writes only the members the caller's version knows.
template <class T>
void Give(T* to, T& filled) {
  const std::uint32_t size = to->size;
  filled.size = size;
  std::memcpy(to, &filled, std::min<std::size_t>(size, sizeof filled));
}

#define VEKAPI_UP_TO(type, member) (offsetof(type, member) + sizeof(type::member))
inline constexpr std::size_t kConfigBytes = VEKAPI_UP_TO(CVekSessionConfig, user);
inline constexpr std::size_t kSubmitBytes = VEKAPI_UP_TO(CVekSubmit, textLength);
inline constexpr std::size_t kReceiptBytes = VEKAPI_UP_TO(CVekReceipt, ticket);
inline constexpr std::size_t kEventBytes = VEKAPI_UP_TO(CVekEvent, result);
inline constexpr std::size_t kStatsBytes = VEKAPI_UP_TO(CVekSessionStats, out);
#undef VEKAPI_UP_TO

// Also null in a process forked from the session's.
inline TSession* SessionOf(const CVekSession* session) {
  auto* const object = session ? static_cast<TSession*>(session->object) : nullptr;
  return object && !object->IsInherited() ? object : nullptr;
}

// Returns the result of `call`, or a reason if there is no session or no memory.
template <class Call>
std::int32_t Ask(const CVekSession* session, Call call) {
  // An event raised inside the call may delete the session.
  const Dstl::wise_ref<TSession> object(SessionOf(session));
  if (!object) return vsr_BadArgument;
  try {
    return call(*object);
  } catch (...) {
    PassForcedUnwind();
    return vsr_NoMemory;
  }
}

// The receipt is optional, but if given it must be valid.
template <class Call>
std::int32_t WithReceipt(CVekReceipt* receipt, Call call) {
  if (receipt && receipt->size < kReceiptBytes) return vsr_BadArgument;
  CVekReceipt filled{};
  const std::int32_t reason = call(filled);
  if (receipt) Give(receipt, filled);
  return reason;
}

}  // namespace VekApi::Flat
