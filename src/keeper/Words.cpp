#include "keeper/Words.h"

namespace VekApi {
namespace {

struct TWords {
  std::int32_t what;
  std::int32_t value;
  const char* english;
  const char* chinese;
};

constexpr TWords kWords[] = {
    {vst_State, vss_Closed, "closed", "已關閉"},
    {vst_State, vss_Waiting, "waiting to connect again", "等待重新連線"},
    {vst_State, vss_Connecting, "connecting", "連線中"},
    {vst_State, vss_SigningOn, "signing on", "登入中"},
    {vst_State, vss_Resyncing, "signed on, resynchronising", "已登入，資料同步中"},
    {vst_State, vss_Up, "up", "已就緒"},
    {vst_State, vss_Draining, "closing, waiting for answers", "關閉中，等待回覆"},
    {vst_State, vss_Refused, "sign-on refused", "登入被拒"},
    {vst_State, vss_Stopped, "given up", "已停止連線"},

    {vst_Fate, vsf_None, "not known yet", "尚無結果"},
    {vst_Fate, vsf_Refused, "refused, not accepted", "未受理"},
    {vst_Fate, vsf_NeverSent, "not sent", "未送出"},
    {vst_Fate, vsf_Left, "sent, has no answer", "已送出，無回覆"},
    {vst_Fate, vsf_Acknowledged, "acknowledged", "已確認"},
    {vst_Fate, vsf_Answered, "answered", "已回覆"},
    {vst_Fate, vsf_TimedOut, "sent, no answer in time", "已送出，逾時未回覆"},
    {vst_Fate, vsf_Unknown, "unknown: it may have been sent", "不明：可能已送達"},

    {vst_Reason, vsr_BadSetting, "nothing can be made of the endpoint's setting", "連線設定錯誤"},
    {vst_Reason, vsr_ConnectFailed, "the connection could not be made", "無法連線"},
    {vst_Reason, vsr_ConnectTimeout, "connecting took too long", "連線逾時"},
    {vst_Reason, vsr_ConnectRefused, "the server refused the connection", "伺服器拒絕連線"},
    {vst_Reason, vsr_SignOnTimeout, "no answer to the sign-on in time", "登入逾時"},
    {vst_Reason, vsr_SignOnRefused, "the server refused the sign-on", "登入被伺服器拒絕"},
    {vst_Reason, vsr_SignOnTooLong, "user identity and password are too long", "使用者代號或密碼太長"},
    {vst_Reason, vsr_LinkBroken, "the connection broke", "連線中斷"},
    {vst_Reason, vsr_BadStream, "what came was no stream of messages", "收到的資料格式錯誤"},
    {vst_Reason, vsr_Silent, "nothing came in time", "逾時未收到任何資料"},
    {vst_Reason, vsr_UnknownServer, "the server did not answer the connect request", "伺服器無回應"},
    {vst_Reason, vsr_ResyncFailed, "resynchronising failed", "資料同步失敗"},
    {vst_Reason, vsr_AcksMissing, "acknowledgements are missing for every place of the rate",
     "確認回覆遺失，流量額度已占滿"},
    {vst_Reason, vsr_SlowConsumer, "the application does not take its events", "應用程式未及時處理事件"},
    {vst_Reason, vsr_ShortLinks, "too many short connections: another program may be using this identity",
     "連線一再短暫中斷：此代號可能在他處登入"},
    {vst_Reason, vsr_NoMoreAttempts, "no more attempts", "已達重試次數上限"},
    {vst_Reason, vsr_Closed, "the session was closed", "連線階段已關閉"},
    {vst_Reason, vsr_NotUp, "the session is not up", "連線尚未就緒"},
    {vst_Reason, vsr_BadText, "the request's text or work id is not right", "請求內容或工作代號不正確"},
    {vst_Reason, vsr_DuplicateId, "the work id is in use", "工作代號重複"},
    {vst_Reason, vsr_TooFast, "the rate is used up", "超過流量限制"},
    {vst_Reason, vsr_QueueFull, "too many requests wait", "等候的請求過多"},
    {vst_Reason, vsr_LinkFull, "the connection takes nothing for the moment", "連線暫時無法送出"},
    {vst_Reason, vsr_NoMemory, "out of memory", "記憶體不足"},
    {vst_Reason, vsr_Expired, "it could not be sent in time", "逾時未能送出"},
    {vst_Reason, vsr_Withdrawn, "withdrawn", "已撤回"},
    {vst_Reason, vsr_Replaced, "replaced by another request", "已由其他請求取代"},
    {vst_Reason, vsr_NoAnswer, "no answer in time", "逾時未回覆"},
    {vst_Reason, vsr_EmptyAck, "the acknowledgement was empty", "確認回覆為空白"},
    {vst_Reason, vsr_TooLate, "too late: it is on its way or decided", "太遲：已送出或已有結果"},
    {vst_Reason, vsr_Busy, "not in this state", "目前狀態不允許"},
    {vst_Reason, vsr_BadArgument, "bad argument", "參數錯誤"},
};

const char* KindOf(std::int32_t kind) {
  constexpr const char* kKinds[] = {"event",  "state", "fate",      "late answer",
                                    "report", "stray", "gate open", "trace"};
  return kind >= vse_State && kind <= vse_Trace ? kKinds[kind] : kKinds[0];
}

void Add(std::string& line, const char* name, std::uint64_t value) {
  line.append(" ").append(name).append(" ").append(std::to_string(value));
}

// One line stays one line.
void AddText(std::string& line, const char* text) {
  for (; text && *text; ++text) line += static_cast<unsigned char>(*text) < ' ' ? ' ' : *text;
}

void AddReason(std::string& line, const CVekEvent& event) {
  if (event.reason != 0) line.append(" (").append(WordsOf(vst_Reason, event.reason, 0)).append(")");
  if (!event.detail || !*event.detail) return;
  line += ": ";
  AddText(line, event.detail);
}

void AddState(std::string& line, const CVekEvent& event) {
  line.append(": ").append(WordsOf(vst_State, event.state, 0));
  AddReason(line, event);
  if (event.state == vss_Waiting && event.waitMs >= 0)
    Add(line, "ms", static_cast<std::uint64_t>(event.waitMs));
  if (event.neverSent != 0) Add(line, "never sent", event.neverSent);
  if (event.unknown != 0) Add(line, "unknown", event.unknown);
  Add(line, "attempt", event.attempt);
  Add(line, "endpoint", event.endpoint);
}

}  // namespace

const char* WordsOf(std::int32_t what, std::int32_t value, std::int32_t language) noexcept {
  for (const TWords& words : kWords) {
    if (words.what == what && words.value == value) return language == 1 ? words.chinese : words.english;
  }
  return "";
}

std::string Describe(const CVekEvent& event) {
  std::string line = KindOf(event.kind);
  Add(line, "link", event.link);
  if (event.kind == vse_State) {
    AddState(line, event);
    return line;
  }
  if (event.code != 0) Add(line, "code", static_cast<std::uint64_t>(event.code));
  if (event.ticket != 0) Add(line, "ticket", event.ticket);
  if (event.workId && *event.workId) line += " id ", AddText(line, event.workId);
  if (event.fate != vsf_None) line.append(": ").append(WordsOf(vst_Fate, event.fate, 0));
  if ((event.flags & vsg_Outbound) != 0) line += " out";
  AddReason(line, event);
  if (event.textLength != 0) Add(line, "bytes", event.textLength);
  return line;
}

}  // namespace VekApi
