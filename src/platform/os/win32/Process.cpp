#include "platform/os/Process.h"

namespace Dova::Os {

namespace Detail {
constinit std::atomic<unsigned> processGeneration{0};
}

// There is no fork on Windows.
TForkedChildStep::TForkedChildStep(TStep step) noexcept : step_(step), next_(nullptr) {}
void TForkedChildStep::RunAll() noexcept {}

}  // namespace Dova::Os
