#include "platform/os/AnswerWatch.h"

#include <utility>

namespace Dova::Os {
namespace {

thread_local TAnswerWatch* current = nullptr;
thread_local int answering = 0;

}  // namespace

TAnswerWatch* TAnswerWatch::Set(TAnswerWatch* watch) noexcept {
  return std::exchange(current, watch);
}

TAnswerScope::TAnswerScope() noexcept : watch_(TAnswerWatch::Set(nullptr)) {
  ++answering;
  if (watch_) watch_->BeforeAnswer();
}

TAnswerScope::~TAnswerScope() {
  if (watch_) watch_->AfterAnswer();
  TAnswerWatch::Set(watch_);
  --answering;
}

bool TAnswerScope::IsAnswering() noexcept {
  return answering != 0;
}

}  // namespace Dova::Os
