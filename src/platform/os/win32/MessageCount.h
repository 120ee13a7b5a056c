#pragma once

namespace Dova::Os {

// How many messages that were sent the calling thread's windows have answered. The system's message functions
// do not tell.
int& SentMessagesAnswered() noexcept;

}  // namespace Dova::Os
