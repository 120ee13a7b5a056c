// Round trips of the same sizes between two PAIR sockets over TCP.
#include <zmq.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "Loopback.h"
#include "Trips.h"

namespace {

constexpr int kLongest = 4096;

class ZeroMq : public Trips {
 public:
  ZeroMq() {
    if (zmq_bind(far_, "tcp://127.0.0.1:*") != 0) std::exit(4);
    char endpoint[256];
    std::size_t size = sizeof endpoint;
    zmq_getsockopt(far_, ZMQ_LAST_ENDPOINT, endpoint, &size);
    if (zmq_connect(near_, endpoint) != 0) std::exit(4);
    thread_ = std::thread([this] {
      char buffer[kLongest];
      const std::string answer = loopback::Answer();
      // An empty message ends it.
      while (zmq_recv(far_, buffer, sizeof buffer, 0) > 0) zmq_send(far_, answer.data(), answer.size(), 0);
      zmq_close(far_);
    });
  }
  ~ZeroMq() override {
    zmq_send(near_, "", 0, 0);
    thread_.join();
    zmq_close(near_);
    zmq_ctx_term(nearContext_);
    zmq_ctx_term(farContext_);
  }
  void Run(int count, rows::Series& series) override {
    char buffer[kLongest];
    for (int i = 0; i < count; ++i) {
      const auto start = rows::Clock::now();
      zmq_send(near_, request_.data(), request_.size(), 0);
      if (zmq_recv(near_, buffer, sizeof buffer, 0) <= 0) std::exit(1);
      series.Call(MicrosecondsSince(start));
    }
  }

 private:
  const std::string request_ = loopback::RequestPacket();
  // A context for each end, as in two programs.
  void* const nearContext_ = zmq_ctx_new();
  void* const farContext_ = zmq_ctx_new();
  void* const near_ = zmq_socket(nearContext_, ZMQ_PAIR);
  void* const far_ = zmq_socket(farContext_, ZMQ_PAIR);
  std::thread thread_;
};

const bool kLinked =
    (TripsPeers().push_back({"ZeroMQ", [] { return std::unique_ptr<Trips>(std::make_unique<ZeroMq>()); }}),
     true);

}  // namespace
