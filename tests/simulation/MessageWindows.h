// Windows of simulated threads.
#pragma once

namespace vektest {

// Runs one message sent to the calling thread's windows, if it has windows; false if there is none.
bool AnswerSent();

}  // namespace vektest
