#include "sim/SimLink.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <utility>

namespace VekSim {

SimLink::SimLink(asio::ip::tcp::socket socket) : socket_(std::move(socket)), delay_(socket_.get_executor()) {}

std::string SimLink::Addresses() const {
  std::ostringstream words;
  asio::error_code ended;
  words << socket_.remote_endpoint(ended) << " to " << socket_.local_endpoint(ended);
  return words.str();
}

void SimLink::Start(Events events, const LinkFaults& faults) {
  events_ = std::make_shared<const Events>(std::move(events));
  faults_ = faults;
  asio::error_code ignored;
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);  // otherwise split writes would be merged
  Read();
  Pump();  // a stream to be cut at byte 0 ends here
}

void SimLink::Set(const LinkFaults& faults) {
  faults_ = faults;
  delay_.cancel();
  Read();
  Pump();
}

void SimLink::Write(std::string_view bytes) {
  if (!open_ || shut_ || finishing_) return;
  queue_.append(bytes);
  Pump();
}

void SimLink::Finish() {
  finishing_ = true;
  Pump();
}

void SimLink::Close(bool reset) {
  if (!open_) return;
  open_ = false;
  asio::error_code ignored;
  if (reset) socket_.set_option(asio::socket_base::linger(true, 0), ignored);
  delay_.cancel();
  socket_.close(ignored);
  // Posted, because this may run inside one of the callbacks.
  asio::post(socket_.get_executor(), [events = std::exchange(events_, nullptr)] {
    if (events) events->closed();
  });
}

void SimLink::Read() {
  if (!open_ || faults_.stall) return;
  if (arrived_ != 0) return Deliver();
  if (reading_) return;
  reading_ = true;
  socket_.async_read_some(asio::buffer(block_),
                          [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
                            if (error) return self->Close(false);
                            self->arrived_ = count;
                            self->Read();
                          });
}

// Not from the read's end: a stall may have begun since the read did.
void SimLink::Deliver() {
  const std::size_t count = std::exchange(arrived_, 0);
  if (!shut_) events_->bytes({block_.data(), count});
  reading_ = false;
  Read();
}

void SimLink::Pump() {
  if (!open_ || busy_ || shut_) return;
  if (faults_.cutAfter == 0) return ShutDown();
  if (Idle()) {
    if (finishing_) ShutDown();
    return;
  }
  busy_ = true;
  if (faults_.delayMs < 1) return WriteSome();
  delay_.expires_after(std::chrono::milliseconds(faults_.delayMs));
  delay_.async_wait([self = shared_from_this()](const asio::error_code&) {
    if (self->open_) self->WriteSome();
  });
}

void SimLink::WriteSome() {
  if (written_ == writing_.size()) {
    writing_ = std::exchange(queue_, {});
    written_ = 0;
  }
  std::size_t count = writing_.size() - written_;
  if (faults_.split > 0) count = std::min(count, faults_.split);
  if (faults_.cutAfter >= 0) count = std::min(count, static_cast<std::size_t>(faults_.cutAfter));
  asio::async_write(socket_, asio::buffer(writing_.data() + written_, count),
                    [self = shared_from_this()](const asio::error_code& error, std::size_t gone) {
                      self->OnWritten(error, gone);
                    });
}

void SimLink::OnWritten(const asio::error_code& error, std::size_t count) {
  busy_ = false;
  if (!open_) return;
  if (error) return Close(false);
  written_ += count;
  if (faults_.cutAfter > 0) faults_.cutAfter -= std::min(faults_.cutAfter, static_cast<std::int64_t>(count));
  if (Idle() && faults_.cutAfter != 0 && !finishing_) events_->drained();
  Pump();
}

// Not a plain close: with unread bytes in the socket it would cause a reset, which may overtake what was
// sent.
void SimLink::ShutDown() {
  shut_ = true;
  queue_.clear();
  faults_.stall = false;
  asio::error_code ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  Read();
}

}  // namespace VekSim
