// A client for C++20, header-only, over the flat functions of VekApiC.h, which documents them. No C++ type is
// passed to the library, so programs built with any compiler may use it; programs built with the library's
// own compiler may also use the class of VekClient.h. Session.hpp has a client that reconnects by itself.
#ifndef VEKAPI_CLIENT_HPP
#define VEKAPI_CLIENT_HPP

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "vekapi/FlowControl.hpp"
#include "vekapi/Result.hpp"
#include "vekapi/VekApiC.h"

namespace VekApi {

// Functions called by a client; empty ones are skipped. Texts end with NUL. Texts and results are valid until
// the function returns. An exception is dropped.
struct VekClientEvents {
  std::function<void(int state, std::string_view reason)> onConnect;  // cvcs_...
  // Signed on: SignOnResult() holds the accounts, and requests may be sent.
  std::function<void()> onReady;
  // The result of a query.
  std::function<void(VekResultView)> onResult;
  // An acknowledgement, code 129 or 131; for VekSender::Acknowledge.
  std::function<void(int code, std::string_view text)> onAck;
  // A report from the server (code 130).
  std::function<void(std::string_view text)> onReport;
  // The answer to a password change, for display.
  std::function<void(std::string_view user, std::string_view answer)> onPassword;
  // A message with an unknown code, header included.
  std::function<void(int code, std::string_view packet)> onUnknown;
};

// Identity and password for signing on. `id1` and `id2` are joined by "/" into the user identity.
struct VekSignOn {
  std::string apName = "VekClient";   // name of the application, for the server
  std::string apVersion = "1.0.0.0";  // four numbers
  std::string id1{};                  // the user
  std::string id2{};                  // may be empty
  std::string password{};             // up to 255 bytes
};

// One session with a server. Its functions, including the destructor, may be called on any thread and inside
// every event; but connecting, disconnecting and deleting must not happen on two threads at once.
class VekFlatClient {
 public:
  // Throws std::bad_alloc, also if the thread cannot have a message loop.
  explicit VekFlatClient(VekClientEvents events, VekDelivery delivery = VekDelivery::Threads)
      : events_(std::make_shared<VekClientEvents>(std::move(events))) {
    const CVekClientCallbacks table = Table();
    client_ = delivery == VekDelivery::Loop ? CVekClient_Create_OnMessageLoop(&table, this)
                                            : CVekClient_Create(&table, this);
    if (client_.object == nullptr) throw std::bad_alloc();
  }
  ~VekFlatClient() { CVekClient_Delete(&client_); }
  VekFlatClient(const VekFlatClient&) = delete;
  VekFlatClient& operator=(const VekFlatClient&) = delete;

  // True if the attempt was started; onConnect reports its outcome.
  bool Connect(const std::string& setting, const VekSignOn& who) {
    return CVekClient_Connect(&client_, setting.c_str(), who.apName.c_str(), who.apVersion.c_str(),
                              who.id1.c_str(), who.id2.c_str(), who.password.c_str());
  }
  // As CVekClient_Disconnect.
  void Disconnect() { CVekClient_Disconnect(&client_); }
  int State() const { return CVekClient_State(&client_); }  // cvcs_...
  // For use in onReady; valid until that returns.
  VekResultView SignOnResult() const { return VekResultView(CVekClient_SgnResult(&client_)); }

  // True if the link accepted the whole request.
  bool Send(int code, std::string_view text) {
    std::string buffer = Detail::RequestBuffer(text);
    return CVekClient_SendVekRequest(&client_, code, buffer.data(), Detail::Length(buffer.size()));
  }
  // Sends a query, "WORKID REST". 0: sent; positive: milliseconds until the query rate allows it; -1: not
  // sent.
  int Query(std::string_view text) {
    std::string buffer = Detail::RequestBuffer(text);
    return CVekClient_SendVekQueryRequest(&client_, buffer.data(), Detail::Length(buffer.size()));
  }
  // As CVekClient_ChgPass.
  bool ChangePassword(const std::string& user, const std::string& before, const std::string& after) {
    return CVekClient_ChgPass(&client_, user.c_str(), before.c_str(), after.c_str());
  }
  // For the flat functions.
  CVekClient* Handle() { return &client_; }

 private:
  // The application may delete the client inside the event, so its functions are held here.
  template <auto Event, class... Arguments>
  static void Tell(void* user, Arguments... arguments) noexcept {
    const std::shared_ptr<VekClientEvents> events = static_cast<VekFlatClient*>(user)->events_;
    try {
      if ((*events).*Event) ((*events).*Event)(arguments...);
    } catch (...) {  // the application's own
    }
  }

  static CVekClientCallbacks Table() {
    using E = VekClientEvents;
    CVekClientCallbacks table{};
    table.OnVekConnectEvent = [](CVekClient* client, void* user, const char* reason) {
      Tell<&E::onConnect>(user, CVekClient_State(client), Detail::View(reason));
    };
    table.OnVekApReadyEvent = [](CVekClient*, void* user) { Tell<&E::onReady>(user); };
    table.OnVekTaskResultEvent = [](CVekClient*, void* user, const CVekTaskResult* result) {
      Tell<&E::onResult>(user, VekResultView(*result));
    };
    table.OnVekChgPassResultEvent = [](CVekClient*, void* user, const char* name, const char* answer) {
      Tell<&E::onPassword>(user, Detail::View(name), Detail::View(answer));
    };
    table.OnVekRequestAckEvent = [](CVekClient*, void* user, int code, const char* text) {
      Tell<&E::onAck>(user, code, Detail::View(text));
    };
    table.OnVekReportEvent = [](CVekClient*, void* user, const char* text) {
      Tell<&E::onReport>(user, Detail::View(text));
    };
    table.OnVekUnknownMsgCodeEvent = [](CVekClient*, void* user, int code, const char* packet, int length) {
      Tell<&E::onUnknown>(user, code, std::string_view(packet, static_cast<std::size_t>(length)));
    };
    return table;
  }

  const std::shared_ptr<VekClientEvents> events_;
  CVekClient client_{};
};

}  // namespace VekApi

#endif  // VEKAPI_CLIENT_HPP
