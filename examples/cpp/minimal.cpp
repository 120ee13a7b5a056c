#include <cstdio>
#include <future>

#include "vekapi/VekClient.h"
#include "vekapi/VekTable.h"
#include "vekapi/VekTaskResult.h"

using namespace VekApi;

// Signs on, asks for the products, prints their names.
struct Products : VekClientHandler {
  std::promise<bool> done;  // all events of a client come one after the other
  bool over = false;
  void End(bool ok) {
    if (!over) done.set_value(ok);
    over = true;
  }
  void OnVekConnectEvent(VekClient& client, const std::string& reason) override {
    std::printf("state %d %s\n", client.State(), reason.c_str());
    if (client.State() < 0) End(false);
  }
  void OnVekApReadyEvent(VekClient& client) override {
    std::string request = "     w1 products\n";  // the library fills the first five bytes
    if (client.SendVekQueryRequest(request.data(), static_cast<unsigned>(request.size())) != 0) End(false);
  }
  void OnVekTaskResultEvent(VekClient&, const VekTaskResult& result) override {
    const VekTable* table = result.Table("products");
    for (int row = 0; table && row < table->RecordsCount(); ++row) std::puts(table->RecordField(row, 0));
    End(table != nullptr);
  }
  void OnVekChgPassResultEvent(VekClient&, const std::string&, const std::string&) override {}
  void OnVekRequestAckEvent(VekClient&, int, const std::string&) override {}
  void OnVekReportEvent(VekClient&, const std::string&) override {}
  void OnVekClientDestroyEvent(VekClient&) override {}
};

int main(int argc, char** argv) {
  Products handler;  // outlives the client
  VekClient client(handler);
  client.Connect(argc > 1 ? argv[1] : "127.0.0.1:9000", "minimal", "1.0.0.0", "trader", "", "secret");
  return handler.done.get_future().get() ? 0 : 1;
}
