#include "flat/CallBack.h"
#include "flat/Guard.h"
#include "flat/PutText.h"
#include "keeper/ClientLink.h"
#include "vekapi/VekLink.h"
#include "vekapi/VekSessionC.h"

bool CVekClient_SetTrace(CVekClient* client, CVekOnTrace onTrace, void* user, int32_t level) {
  return VekApi::Flat::Ask(client, false, [=](VekApiC_VekClient& object) {
    VekApi::TTellTrace tell;
    if (onTrace) {
      tell = [=, &object](VekApi::VekClient&, const CVekEvent& event) {
        VekApi::Flat::CallBack<CVekClient>(onTrace, &object, user, &event);
      };
    }
    VekApi::SetClientTrace(object.Client(), std::move(tell), level);
    return true;
  });
}

int32_t CVekClient_LinkReason(const CVekClient* client) {
  return VekApi::Flat::Ask(
      client, 0, [](VekApiC_VekClient& object) { return VekApi::VekLink::Reason(object.Client()); });
}

uint32_t CVekClient_LinkDetail(const CVekClient* client, char* out, uint32_t room) {
  VekApiC_VekClient* const object = VekApi::Flat::ObjectOf(client);
  return VekApi::Flat::PutText(
      out, room, [=] { return object ? VekApi::VekLink::Detail(object->Client()) : std::string(); });
}
