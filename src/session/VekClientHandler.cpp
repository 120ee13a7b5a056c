#include "vekapi/VekClientHandler.h"

namespace VekApi {

VekClientHandler::~VekClientHandler() = default;

void VekClientHandler::OnVekUnknownMsgCodeEvent(VekClient&, int, const char*, int) {}

}  // namespace VekApi
