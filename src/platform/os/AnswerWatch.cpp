#include "platform/os/AnswerWatch.h"

#include <utility>

namespace Dova::Os {
namespace {

thread_local TAnswerWatch* current = nullptr;

}  // namespace

TAnswerWatch* TAnswerWatch::Set(TAnswerWatch* watch) noexcept {
  return std::exchange(current, watch);
}

}  // namespace Dova::Os
