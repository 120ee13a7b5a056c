// Every exported function with a null handle and with no handle at all.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "vekapi/VekApiC.h"
#include "vekapi/VekSessionC.h"

namespace vektest {
namespace {

// All exports, from the list used to link the library.
const char* const kExports[] = {
#include "vekapi_exports.inc"
};

char anyBytes[16];

// Calls a function with `handle` and with a null address; true if both results are as expected.
template <class Handle>
std::function<bool()> Walk(std::function<bool(Handle*)> gives) {
  return [=] {
    Handle null{};
    return gives(&null) && !null.object && gives(nullptr);
  };
}

// Makes an object without callbacks.
template <class Handle, class Callbacks>
std::function<bool()> Made(Handle (*create)(const Callbacks*, void*), void (*destroy)(Handle*)) {
  return [=] {
    Handle handle = create(nullptr, nullptr);
    const bool made = handle.object != nullptr;
    destroy(&handle);
    return made && !handle.object;
  };
}

#define NULL_RESULT(Handle, call) Walk<Handle>([](Handle* h) { return (call) == nullptr; })
#define NULL_HANDLE(Handle, call) Walk<Handle>([](Handle* h) { return (call).object == nullptr; })
#define ANSWER(Handle, call, answer) Walk<Handle>([](Handle* h) { return (call) == (answer); })
#define NOTHING(Handle, call) Walk<Handle>([](Handle* h) { return (call), true; })

const CVekField* const kNoField = nullptr;

const std::map<std::string, std::function<bool()>> kWalk = {
    {"CVekApi_Describe", [] { return CVekApi_Describe(nullptr, anyBytes, 16) == 0; }},
    {"CVekApi_FreeBSTR", [] { return CVekApi_FreeBSTR(nullptr), true; }},
    {"CVekApi_ReasonOf", [] { return CVekApi_ReasonOf(nullptr) == cvre_Other; }},
    {"CVekApi_Text", [] { return *CVekApi_Text(-1, -1, -1) == '\0'; }},
    {"CVekApi_ToUtf8", [] { return CVekApi_ToUtf8(nullptr, 9, nullptr, 0) == 0; }},
    {"CVekApi_Version", [] { return *CVekApi_Version() != '\0'; }},
    {"CstrToBSTR", [] { return CstrToBSTR(nullptr) == nullptr; }},

    {"CVekClient_ChgPass", ANSWER(CVekClient, CVekClient_ChgPass(h, "u", "o", "n"), false)},
    {"CVekClient_Connect", ANSWER(CVekClient, CVekClient_Connect(h, "s", "a", "v", "1", "2", "p"), false)},
    {"CVekClient_Create", Made(CVekClient_Create, CVekClient_Delete)},
    {"CVekClient_Create_OnMessageLoop", Made(CVekClient_Create_OnMessageLoop, CVekClient_Delete)},
    {"CVekClient_Delete", NOTHING(CVekClient, CVekClient_Delete(h))},
    {"CVekClient_Disconnect", NOTHING(CVekClient, CVekClient_Disconnect(h))},
    {"CVekClient_EncPacket", NOTHING(CVekClient, CVekClient_EncPacket(h, anyBytes, 16))},
    {"CVekClient_IsSessionConnected", ANSWER(CVekClient, CVekClient_IsSessionConnected(h), false)},
    {"CVekClient_SendPk", ANSWER(CVekClient, CVekClient_SendPk(h, anyBytes, 16), false)},
    {"CVekClient_SendVekRequest", ANSWER(CVekClient, CVekClient_SendVekRequest(h, 129, anyBytes, 16), false)},
    {"CVekClient_SendVekQueryRequest",
     ANSWER(CVekClient, CVekClient_SendVekQueryRequest(h, anyBytes, 16), -1)},
    {"CVekClient_ServerName", NULL_RESULT(CVekClient, CVekClient_ServerName(h))},
    {"CVekClient_SgnResult", NULL_HANDLE(CVekClient, CVekClient_SgnResult(h))},
    {"CVekClient_State", ANSWER(CVekClient, CVekClient_State(h), 0)},

    {"CVekField_Index", ANSWER(CVekField, CVekField_Index(h), -1)},
    {"CVekField_Properties", NULL_HANDLE(CVekField, CVekField_Properties(h))},
    {"CVekFields_Count", ANSWER(CVekFields, CVekFields_Count(h), 0)},
    {"CVekFields_IndexField", NULL_HANDLE(CVekFields, CVekFields_IndexField(h, 0))},
    {"CVekFields_NameField", NULL_HANDLE(CVekFields, CVekFields_NameField(h, "n"))},
    {"CVekFields_Names", NULL_RESULT(CVekFields, CVekFields_Names(h, nullptr))},

    {"CVekFlowCtrl_CheckFlowCtrl", ANSWER(CVekFlowCtrl, CVekFlowCtrl_CheckFlowCtrl(h), 0)},
    {"CVekFlowCtrl_Clear", NOTHING(CVekFlowCtrl, CVekFlowCtrl_Clear(h))},
    {"CVekFlowCtrl_Create", Made(CVekFlowCtrl_Create, CVekFlowCtrl_Delete)},
    {"CVekFlowCtrl_Create_OnMessageLoop", Made(CVekFlowCtrl_Create_OnMessageLoop, CVekFlowCtrl_Delete)},
    {"CVekFlowCtrl_Delete", NOTHING(CVekFlowCtrl, CVekFlowCtrl_Delete(h))},
    {"CVekFlowCtrl_IsFlowCfg", ANSWER(CVekFlowCtrl, CVekFlowCtrl_IsFlowCfg(h), false)},
    {"CVekFlowCtrl_Lock", NOTHING(CVekFlowCtrl, CVekFlowCtrl_Lock(h))},
    {"CVekFlowCtrl_SetAckTime", NOTHING(CVekFlowCtrl, CVekFlowCtrl_SetAckTime(h, 1))},
    {"CVekFlowCtrl_SetFlowCtrl", NOTHING(CVekFlowCtrl, CVekFlowCtrl_SetFlowCtrl(h, 1, 1))},
    {"CVekFlowCtrl_Sleep", [] { return CVekFlowCtrl_Sleep(0), true; }},
    {"CVekFlowCtrl_StartCheckTimer", NOTHING(CVekFlowCtrl, CVekFlowCtrl_StartCheckTimer(h))},
    {"CVekFlowCtrl_Unlock", NOTHING(CVekFlowCtrl, CVekFlowCtrl_Unlock(h))},

    {"CVekFlowCtrlSender_AckParser", NOTHING(CVekFlowCtrlSender, CVekFlowCtrlSender_AckParser(h, 129, "a"))},
    {"CVekFlowCtrlSender_CheckPending", NOTHING(CVekFlowCtrlSender, CVekFlowCtrlSender_CheckPending(h))},
    {"CVekFlowCtrlSender_Create_OnMessageLoop",
     NULL_HANDLE(CVekClient, CVekFlowCtrlSender_Create_OnMessageLoop(h, nullptr, nullptr))},
    {"CVekFlowCtrlSender_DropPending", ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_DropPending(h), 0u)},
    {"CVekFlowCtrlSender_RefusedCount", ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_RefusedCount(h), 0u)},
    {"CVekFlowCtrlSender_TakePending",
     ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_TakePending(h, anyBytes, 16), 0u)},
    {"CVekFlowCtrlSender_Create", NULL_HANDLE(CVekClient, CVekFlowCtrlSender_Create(h))},
    {"CVekFlowCtrlSender_Delete", NOTHING(CVekFlowCtrlSender, CVekFlowCtrlSender_Delete(h))},
    {"CVekFlowCtrlSender_IsFlowCfg", ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_IsFlowCfg(h), 0)},
    {"CVekFlowCtrlSender_PendingCount", ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_PendingCount(h), 0u)},
    {"CVekFlowCtrlSender_SendVekRequest",
     ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_SendVekRequest(h, anyBytes, 16), false)},
    {"CVekFlowCtrlSender_SendVekRequests",
     ANSWER(CVekFlowCtrlSender, CVekFlowCtrlSender_SendVekRequests(h, anyBytes, 16), 0u)},
    {"CVekFlowCtrlSender_SetAckTime", NOTHING(CVekFlowCtrlSender, CVekFlowCtrlSender_SetAckTime(h, 1, 2))},
    {"CVekFlowCtrlSender_SetFlowCtrl", NOTHING(CVekFlowCtrlSender, CVekFlowCtrlSender_SetFlowCtrl(h, 1, 1))},

    {"CVekMessageLoop_Dispatch", [] { return CVekMessageLoop_Dispatch(0) == 0; }},
    {"CVekMessageLoop_Fd", [] { return CVekMessageLoop_Fd() >= -1; }},

    {"CVekProperties_Description", NULL_RESULT(CVekProperties, CVekProperties_Description(h))},
    {"CVekProperties_Description_B", NULL_RESULT(CVekProperties, CVekProperties_Description_B(h))},
    {"CVekProperties_DisplayText", NULL_RESULT(CVekProperties, CVekProperties_DisplayText(h))},
    {"CVekProperties_DisplayText_B", NULL_RESULT(CVekProperties, CVekProperties_DisplayText_B(h))},
    {"CVekProperties_Get", NULL_RESULT(CVekProperties, CVekProperties_Get(h, "k"))},
    {"CVekProperties_Get_B", NULL_RESULT(CVekProperties, CVekProperties_Get_B(h, "k"))},
    {"CVekProperties_Name", NULL_RESULT(CVekProperties, CVekProperties_Name(h))},
    {"CVekProperties_Name_B", NULL_RESULT(CVekProperties, CVekProperties_Name_B(h))},
    {"CVekProperties_ToString", NULL_RESULT(CVekProperties, CVekProperties_ToString(h))},
    {"CVekProperties_ToString_B", NULL_RESULT(CVekProperties, CVekProperties_ToString_B(h))},

    {"CVekClient_LinkDetail", ANSWER(CVekClient, CVekClient_LinkDetail(h, nullptr, 0), 0u)},
    {"CVekClient_LinkReason", ANSWER(CVekClient, CVekClient_LinkReason(h), 0)},
    {"CVekClient_SetTrace", ANSWER(CVekClient, CVekClient_SetTrace(h, nullptr, nullptr, 1), false)},
    {"CVekApi_RecordHeader", [] { return CVekApi_RecordHeader(nullptr, 0) == 8; }},
    {"CVekApi_RecordOf", [] { return CVekApi_RecordOf(nullptr, nullptr, 0) == 0; }},
    {"CVekSession_AddEndpoint", ANSWER(CVekSession, CVekSession_AddEndpoint(h, "e"), vsr_BadArgument)},
    {"CVekSession_AddResync", ANSWER(CVekSession, CVekSession_AddResync(h, "q"), vsr_BadArgument)},
    {"CVekSession_ChangePassword",
     ANSWER(CVekSession, CVekSession_ChangePassword(h, "u", "o", "n", 0, nullptr), vsr_BadArgument)},
    {"CVekSession_Close", NOTHING(CVekSession, CVekSession_Close(h, 0))},
    {"CVekSession_Create", [] { return !CVekSession_Create(nullptr, nullptr).object; }},
    {"CVekSession_Defaults", [] { return CVekSession_Defaults(nullptr, 9), true; }},
    {"CVekSession_Delete", NOTHING(CVekSession, CVekSession_Delete(h))},
    {"CVekSession_InCallback", ANSWER(CVekSession, CVekSession_InCallback(h), false)},
    {"CVekSession_KeepResult", NULL_HANDLE(CVekSession, CVekSession_KeepResult(h, nullptr))},
    {"CVekSession_NewWorkId", NOTHING(CVekSession, CVekSession_NewWorkId(h, nullptr))},
    {"CVekSession_Next", ANSWER(CVekSession, CVekSession_Next(h, 0, nullptr), -1)},
    {"CVekSession_Open", ANSWER(CVekSession, CVekSession_Open(h), vsr_BadArgument)},
    {"CVekSession_ResyncDone", ANSWER(CVekSession, CVekSession_ResyncDone(h, 1, true), vsr_BadArgument)},
    {"CVekSession_RetryIn", ANSWER(CVekSession, CVekSession_RetryIn(h, 1), vsr_BadArgument)},
    {"CVekSession_RoundTrips", ANSWER(CVekSession, CVekSession_RoundTrips(h, 128, nullptr, 0), 0u)},
    {"CVekSession_SetPassword", ANSWER(CVekSession, CVekSession_SetPassword(h, "p"), vsr_BadArgument)},
    {"CVekSession_SetRate", ANSWER(CVekSession, CVekSession_SetRate(h, 1, 1), vsr_BadArgument)},
    {"CVekSession_SetTrace", NOTHING(CVekSession, CVekSession_SetTrace(h, 1))},
    {"CVekSession_Stats", NOTHING(CVekSession, CVekSession_Stats(h, nullptr))},
    {"CVekSession_Submit", ANSWER(CVekSession, CVekSession_Submit(h, nullptr, nullptr), vsr_BadArgument)},
    {"CVekSession_WaitHandle", ANSWER(CVekSession, CVekSession_WaitHandle(h) <= 0, true)},
    {"CVekSession_WaitMs", ANSWER(CVekSession, CVekSession_WaitMs(h, 129), -1)},
    {"CVekSession_Withdraw", ANSWER(CVekSession, CVekSession_Withdraw(h, 1), vsr_BadArgument)},

    {"CVekTable_Fields", NULL_HANDLE(CVekTable, CVekTable_Fields(h))},
    {"CVekTable_MktFlag", ANSWER(CVekTable, CVekTable_MktFlag(h), 0)},
    {"CVekTable_Properties", NULL_HANDLE(CVekTable, CVekTable_Properties(h))},
    {"CVekTable_RecordBlock", ANSWER(CVekTable, CVekTable_RecordBlock(h, 0, nullptr), 0)},
    {"CVekTable_RecordField", NULL_RESULT(CVekTable, CVekTable_RecordField(h, 0, kNoField))},
    {"CVekTable_RecordField_B", NULL_RESULT(CVekTable, CVekTable_RecordField_B(h, 0, kNoField))},
    {"CVekTable_RecordIndexField", NULL_RESULT(CVekTable, CVekTable_RecordIndexField(h, 0, 0))},
    {"CVekTable_RecordIndexField_B", NULL_RESULT(CVekTable, CVekTable_RecordIndexField_B(h, 0, 0))},
    {"CVekTable_RecordsCount", ANSWER(CVekTable, CVekTable_RecordsCount(h), 0)},

    {"CVekTaskResult_Free", NOTHING(CVekTaskResult, CVekTaskResult_Free(h))},
    {"CVekTaskResult_IndexTable", NULL_HANDLE(CVekTaskResult, CVekTaskResult_IndexTable(h, 0))},
    {"CVekTaskResult_NameTable", NULL_HANDLE(CVekTaskResult, CVekTaskResult_NameTable(h, "t"))},
    {"CVekTaskResult_OrigResult", NULL_RESULT(CVekTaskResult, CVekTaskResult_OrigResult(h))},
    {"CVekTaskResult_OrigResult_B", NULL_RESULT(CVekTaskResult, CVekTaskResult_OrigResult_B(h))},
    {"CVekTaskResult_TableCount", ANSWER(CVekTaskResult, CVekTaskResult_TableCount(h), 0u)},
    {"CVekTaskResult_WorkID", NULL_RESULT(CVekTaskResult, CVekTaskResult_WorkID(h))},
    {"CVekTaskResult_WorkID_B", NULL_RESULT(CVekTaskResult, CVekTaskResult_WorkID_B(h))},
};

TEST(NullHandles, EveryExportAnswersWithItsNullResult) {
  for (const char* name : kExports) {
    const auto walk = kWalk.find(name);
    ASSERT_NE(walk, kWalk.end()) << name << " has no entry in the walk";
    EXPECT_TRUE(walk->second()) << name;
  }
}

}  // namespace
}  // namespace vektest
