#pragma once

namespace Dova::Os {

// Number of sent messages the calling thread's windows have answered, which the system's message functions do
// not report.
int& SentMessagesAnswered() noexcept;

}  // namespace Dova::Os
