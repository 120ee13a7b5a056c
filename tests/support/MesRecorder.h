// A handler of a messenger that records its events, one line each, and the received bytes.
#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "platform/transport/TMesBase.h"
#include "support/LineLog.h"

namespace vektest {

class MesRecorder : public Dova::TMesEvHandler, public LineLog {
 public:
  std::function<void(const std::string&)> onEvent;  // called inside the event, with its line

  void OnMesLinkReady(Dova::TMesBase*) override { Note("ready"); }
  void OnMesLinkError(Dova::TMesBase*, const std::string& reason) override { Note("error " + reason); }
  void OnMesLinkBroken(Dova::TMesBase*, const std::string& reason) override { Note("broken " + reason); }
  void OnMesSendEmpty(Dova::TMesBase*) override { Note("empty"); }
  void OnMesRecvReady(Dova::TMesBase* mes) override {
    char buffer[5000];
    for (int count = 0; (count = mes->Recv(buffer, sizeof buffer)) > 0;) {
      const std::lock_guard lock(mutex_);
      received_.append(buffer, static_cast<std::size_t>(count));
    }
    Note("received");
  }

  // The line that reports the link's end.
  std::string WaitForEnd() {
    std::string end;
    WaitUntil([&] {
      if (!lines_.empty()) end = lines_.back();
      return end.rfind("error ", 0) == 0 || end.rfind("broken ", 0) == 0;
    });
    return end;
  }
  void Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
    received_.clear();
  }
  bool WaitForBytes(const std::string& bytes) {
    return WaitUntil([&] { return received_ == bytes; });
  }
  // All lines except those for data and space, whose number varies.
  Lines LinkLines() {
    const std::lock_guard lock(mutex_);
    Lines lines;
    for (const std::string& line : lines_) {
      if (line != "received" && line != "empty") lines.push_back(line);
    }
    return lines;
  }

 private:
  void Note(const std::string& line) {
    LineLog::Note(line, [&] {
      if (onEvent) onEvent(line);
    });
  }

  std::string received_;
};

}  // namespace vektest
