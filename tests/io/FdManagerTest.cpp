#include "base/io/FdManager.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "base/io/FdHandler.h"

namespace {

using Script = std::function<void(const std::string& event)>;

// Reports its events as "<id>r", "<id>w", "<id>o" and "<id>gone".
class Recorder : public io::FdHandler {
 public:
  Recorder(char ownId, Script& target) : FdHandler(-1), id(ownId), script(target) {}
  void fdReadable() override { report("r"); }
  void fdWritable() override { report("w"); }
  void fdOther() override { report("o"); }
  void fdManagerGone() override { report("gone"); }

 private:
  void report(const char* event) { script(id + std::string(event)); }

  char id;
  Script& script;
};

// Handlers of ascending addresses: they are dispatched as 2, 1, 0.
struct FdManagerTest : testing::Test {
  std::string events;
  Script react = [](const std::string&) {};
  Script script = [this](const std::string& event) {
    events += event + " ";
    react(event);
  };
  Recorder handlers[3] = {{'0', script}, {'1', script}, {'2', script}};
  io::FdManager manager;

  void SetUp() override {
    for (Recorder& handler : handlers) manager.addHandler(&handler);
  }
  void TearDown() override {
    react = [](const std::string&) {};
  }
  void queueAll(Recorder& handler) {
    manager.queueWritable(&handler);
    manager.queueReadable(&handler);
    manager.queueOther(&handler);
  }
  std::string process() {
    events.clear();
    manager.processEvents();
    return events;
  }
};

TEST_F(FdManagerTest, handlerRemovedDuringDispatchIsNotCalled) {
  for (Recorder& handler : handlers) queueAll(handler);
  react = [this](const std::string& event) {
    if (event == "2r") manager.removeHandler(&handlers[0]);
    if (event == "1r") manager.setInterest(&handlers[1], io::interestRead | io::interestOther);
  };
  EXPECT_EQ(process(), "2o 1o 0o 2r 1r 2w ");
}

TEST_F(FdManagerTest, destructionTellsTheLastRegisteredFirst) {
  EXPECT_EQ(io::FdManager::current(), &manager);
  {
    io::FdManager inner;
    EXPECT_EQ(io::FdManager::current(), &inner);
    for (int i : {1, 0, 2, 0}) inner.addHandler(&handlers[i]);
    react = [&](const std::string& event) {
      if (event == "2gone") inner.removeHandler(&handlers[0]);
    };
  }
  EXPECT_EQ(events, "2gone 1gone ");
  EXPECT_EQ(io::FdManager::current(), &manager);
}

}  // namespace
