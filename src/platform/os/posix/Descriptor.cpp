#include "platform/os/posix/Descriptor.h"

#include <pthread.h>
#include <unistd.h>

namespace Dova::Os {
namespace {

pthread_mutex_t forkLock = PTHREAD_MUTEX_INITIALIZER;
TDescriptor* openOnes = nullptr;

}  // namespace

struct TForkHandlers {
  TForkHandlers() noexcept { pthread_atfork(&Before, &InParent, &InChild); }
  static void Before() { pthread_mutex_lock(&forkLock); }
  static void InParent() { pthread_mutex_unlock(&forkLock); }
  static void InChild() {
    while (openOnes != nullptr) close(openOnes->Release());
    pthread_mutex_unlock(&forkLock);
  }
};

TDescriptor::TNoFork::TNoFork() noexcept {
  static const TForkHandlers handlers;
  pthread_mutex_lock(&forkLock);
}

TDescriptor::TNoFork::~TNoFork() {
  pthread_mutex_unlock(&forkLock);
}

bool TDescriptor::Keep(int number) noexcept {
  if (number < 0) return false;
  number_ = number;
  next_ = openOnes;
  if (next_ != nullptr) next_->link_ = &next_;
  link_ = &openOnes;
  openOnes = this;
  return true;
}

int TDescriptor::Release() noexcept {
  if (link_ == nullptr) return -1;
  *link_ = next_;
  if (next_ != nullptr) next_->link_ = link_;
  link_ = nullptr;
  return number_.exchange(-1);
}

void TDescriptor::Take(TDescriptor& other) noexcept {
  Close();
  const TNoFork noFork;
  Keep(other.Release());
}

void TDescriptor::Close() noexcept {
  if (Get() < 0) return;
  const TNoFork noFork;
  if (const int number = Release(); number >= 0) close(number);
}

}  // namespace Dova::Os
