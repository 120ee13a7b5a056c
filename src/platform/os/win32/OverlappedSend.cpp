#include "platform/os/win32/OverlappedSend.h"

#include <algorithm>
#include <new>

namespace Dova::Os {
namespace {

constexpr std::size_t kMaxAtOnce = 64 * 1024;

}  // namespace

TOverlappedSend::TOverlappedSend() {
  // Manual reset: stays set until the next send, so several threads can see that no send is pending.
  overlapped_.hEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
}

TOverlappedSend::~TOverlappedSend() {
  if (overlapped_.hEvent != nullptr) CloseHandle(overlapped_.hEvent);
}

// The data may have contained a password.
void TOverlappedSend::WipeBuffer() noexcept {
  SecureZeroMemory(buffer_.data(), buffer_.size());
  buffer_.clear();
}

std::ptrdiff_t TOverlappedSend::Send(SOCKET socket, const char* bytes, std::size_t size) noexcept {
  if (!IsUsable()) {
    WSASetLastError(WSAENOBUFS);
    return -1;
  }
  if (underWay_) {
    if (WaitForSingleObject(overlapped_.hEvent, 0) != WAIT_OBJECT_0) return 0;
    if (!Harvest(socket)) return -1;
  }
  const std::size_t part = std::min(size, kMaxAtOnce);
  try {
    buffer_.assign(bytes, part);
  } catch (const std::bad_alloc&) {
    WSASetLastError(WSAENOBUFS);
    return -1;
  }
  WSABUF piece{static_cast<ULONG>(part), buffer_.data()};
  DWORD sent = 0;
  const int error = WSASend(socket, &piece, 1, &sent, 0, &overlapped_, nullptr) == 0 ? 0 : WSAGetLastError();
  if (error != WSA_IO_PENDING) {
    WipeBuffer();
    WSASetLastError(error);
    return error == 0 ? static_cast<std::ptrdiff_t>(sent) : -1;
  }
  underWay_ = true;
  return static_cast<std::ptrdiff_t>(part);
}

// Collects the outcome of a completed send; false with WSAGetLastError if it did not send everything.
bool TOverlappedSend::Harvest(SOCKET socket) noexcept {
  DWORD sent = 0;
  DWORD flags = 0;
  underWay_ = false;
  const bool ended = WSAGetOverlappedResult(socket, &overlapped_, &sent, TRUE, &flags) != 0;
  const int error = ended ? WSAECONNABORTED : WSAGetLastError();
  const bool whole = ended && sent == buffer_.size();
  WipeBuffer();
  if (!whole) WSASetLastError(error);
  return whole;
}

bool TOverlappedSend::WaitIdle(HANDLE over) const noexcept {
  if (!underWay_) return WaitForSingleObject(over, 0) != WAIT_OBJECT_0;
  const HANDLE both[] = {over, overlapped_.hEvent};
  return WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0 + 1;
}

void TOverlappedSend::Finish(SOCKET socket) noexcept {
  if (!underWay_) return;
  CancelIoEx(reinterpret_cast<HANDLE>(socket), reinterpret_cast<OVERLAPPED*>(&overlapped_));
  Harvest(socket);
}

}  // namespace Dova::Os
