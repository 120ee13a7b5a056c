#include "flat/CallBack.h"
#include "flat/Guard.h"
#include "keeper/ClientTrace.h"
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
