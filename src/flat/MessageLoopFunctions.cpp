#include "flat/Guard.h"
#include "flat/TVekClientMessageLoop.h"
#include "platform/os/MessagePump.h"
#include "vekapi/VekApiC.h"

CVekClient CVekClient_Create_OnMessageLoop(const CVekClientCallbacks* callbacks, void* user) {
  return VekApi::Flat::Create<CVekClient>([=] {
    return TVekClientMessageLoop::CreateClient(callbacks ? *callbacks : CVekClientCallbacks{}, user);
  });
}

int CVekMessageLoop_Dispatch(int timeoutMs) {
  return Dova::Os::DispatchMessages(timeoutMs);
}

int CVekMessageLoop_Fd(void) {
  return Dova::Os::MessagesDescriptor();
}
