#include <string>

#include "flat/Guard.h"
#include "platform/runtime/Wipe.h"
#include "session/TImpl.h"
#include "vekapi/VekApiC.h"

namespace {

using VekApi::Flat::Ask;
using VekApi::Flat::Do;

// A temporary copy of a password, wiped after use. Null is empty.
class TPassword {
 public:
  explicit TPassword(const char* text) : text_(text ? text : "") {}
  ~TPassword() { Dova::WipeText(text_); }
  TPassword(const TPassword&) = delete;
  TPassword& operator=(const TPassword&) = delete;

  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace

CVekClient CVekClient_Create(const CVekClientCallbacks* callbacks, void* user) {
  return VekApi::Flat::Create<CVekClient>(
      [=] { return new VekApiC_VekClient(callbacks ? *callbacks : CVekClientCallbacks{}, user); });
}

// A second deletion of the same object can only come from the destroy event; after that the object is gone.
void CVekClient_Delete(CVekClient* client) {
  VekApiC_VekClient* const object = VekApi::Flat::ObjectOf(client);
  if (object && object->BeginDelete(*client)) delete object;
}

int CVekClient_State(const CVekClient* client) {
  return Ask(client, 0, [](auto& object) { return static_cast<int>(object.State()); });
}

bool CVekClient_IsSessionConnected(const CVekClient* client) {
  const int state = CVekClient_State(client);
  return state >= cvcs_Connected || state == cvcs_SgnError;
}

bool CVekClient_Connect(CVekClient* client, const char* setting, const char* apName, const char* apVersion,
                        const char* id1, const char* id2, const char* password) {
  if (!setting || !apName || !apVersion || !id1 || !id2) return false;
  return Ask(client, false, [=](auto& object) {
    if (VekApi::ContextOf(object.Client())->IsInherited()) return false;
    const TPassword pass(password);
    object.Client().Connect(setting, apName, apVersion, id1, id2, pass.Text());
    return true;
  });
}

void CVekClient_Disconnect(CVekClient* client) {
  Do(client, [](auto& object) { object.Client().Disconnect(); });
}

CVekTaskResult CVekClient_SgnResult(const CVekClient* client) {
  return Ask(client, {}, [](auto& object) { return CVekTaskResult{&object.SgnResult()}; });
}

const char* CVekClient_ServerName(const CVekClient* client) {
  return Ask(client, nullptr, [](auto& object) { return object.ServerName(); });
}

bool CVekClient_ChgPass(CVekClient* client, const char* user, const char* oldPassword,
                        const char* newPassword) {
  if (!user) return false;
  return Ask(client, false, [=](auto& object) {
    const TPassword before(oldPassword);
    const TPassword after(newPassword);
    return object.Client().ChgPass(user, before.Text(), after.Text());
  });
}

void CVekClient_EncPacket(const CVekClient* client, char* packet, int length) {
  if (packet) Do(client, [=](auto& object) { object.Client().EncPacket(packet, length); });
}

bool CVekClient_SendPk(CVekClient* client, char* packet, int length) {
  return packet && Ask(client, false, [=](auto& object) { return object.Client().SendPk(packet, length); });
}

bool CVekClient_SendVekRequest(CVekClient* client, int msgCode, char* buffer, unsigned length) {
  return buffer && Ask(client, false,
                       [=](auto& object) { return object.Client().SendVekRequest(msgCode, buffer, length); });
}

int CVekClient_SendVekQueryRequest(CVekClient* client, char* buffer, unsigned length) {
  if (!buffer) return -1;
  return Ask(client, -1, [=](auto& object) { return object.Client().SendVekQueryRequest(buffer, length); });
}
