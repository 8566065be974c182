#include "apps/qolt-receiver/HeldJobs.h"

#include <cups/cups.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "apps/common/deviceUri.h"
#include "base/os/unix/Passwd.h"
#include "base/plat/Exception.h"
#include "base/plat/LogSrc.h"

namespace receiver {

static constinit plat::LogSrc log("HeldJobs");
static const plat::LogSrc::Listed listed(log);

namespace {

constexpr int connectTimeoutMs = 3000;
constexpr double answerTimeoutS = 5;
constexpr char anyPrinter[] = "ipp://localhost/";

using Connection = std::unique_ptr<http_t, decltype(&httpClose)>;
using Answer = std::unique_ptr<ipp_t, decltype(&ippDelete)>;

struct WaitingJob {
  int id;
  std::string queueUri;
};

// RFC 8011 section 4.1: what every request begins with.
class Request {
 public:
  Request(ipp_op_t operation, const char* user, const char* printerUri)
      : ipp(ippNewRequest(operation)) {
    addText(IPP_TAG_URI, "printer-uri", printerUri);
    addText(IPP_TAG_NAME, "requesting-user-name", user);
  }

  void addText(ipp_tag_t type, const char* name, const char* value) {
    ippAddString(ipp, IPP_TAG_OPERATION, type, name, nullptr, value);
  }
  void addKeywords(const char* name, std::initializer_list<const char*> values) {
    ippAddStrings(ipp, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, name, static_cast<int>(values.size()),
                  nullptr, values.begin());
  }
  ipp_t* get() const { return ipp; }
  // Null when there is none.
  Answer send(http_t* scheduler, const char* resource) {
    return Answer(cupsDoRequest(scheduler, ipp, resource), ippDelete);
  }

 private:
  ipp_t* ipp;  // send() takes it over
};

// The jobs of the user that were begun and then held, in the order in which they were printed.
std::vector<WaitingJob> waitingJobs(http_t* scheduler, const char* user) {
  Request request(IPP_OP_GET_JOBS, user, anyPrinter);
  ippAddBoolean(request.get(), IPP_TAG_OPERATION, "my-jobs", 1);
  request.addText(IPP_TAG_KEYWORD, "which-jobs", "not-completed");
  request.addKeywords("requested-attributes",
                      {"job-id", "job-state", "job-printer-uri", "time-at-processing"});
  const Answer answer = request.send(scheduler, "/");
  std::vector<WaitingJob> jobs;
  WaitingJob job{};
  bool isHeld = false, wasBegun = false;
  const auto add = [&] {
    if (isHeld && wasBegun && job.id && !job.queueUri.empty()) jobs.push_back(job);
    job = {};
    isHeld = wasBegun = false;
  };
  for (ipp_attribute_t* at = ippFirstAttribute(answer.get()); at;
       at = ippNextAttribute(answer.get())) {
    const std::string name = plat::orEmpty(ippGetName(at));
    if (name.empty()) {
      add();  // what stands between two jobs has no name
    } else if (name == "job-id") {
      job.id = ippGetInteger(at, 0);
    } else if (name == "job-state") {
      isHeld = ippGetInteger(at, 0) == IPP_JSTATE_HELD;
    } else if (name == "job-printer-uri") {
      job.queueUri = plat::orEmpty(ippGetString(at, 0, nullptr));
    } else if (name == "time-at-processing") {
      wasBegun = ippGetValueTag(at) == IPP_TAG_INTEGER;
    }
  }
  add();
  std::sort(jobs.begin(), jobs.end(), [](auto& one, auto& other) { return one.id < other.id; });
  return jobs;
}

// Whether the queue's jobs come to the endpoint.
bool leadsTo(const std::string& endpointName, http_t* scheduler, const char* user,
             const std::string& queueUri) {
  Request request(IPP_OP_GET_PRINTER_ATTRIBUTES, user, queueUri.c_str());
  request.addKeywords("requested-attributes", {"device-uri"});
  const Answer answer = request.send(scheduler, "/");
  const char* device =
      ippGetString(ippFindAttribute(answer.get(), "device-uri", IPP_TAG_URI), 0, nullptr);
  const job::Format* format;
  plat::String name;
  if (parseUserUri(device, &format, &name)) return name == endpointName.c_str();
  uint32_t uid;
  return parseDeviceUri(device, nullptr, &uid, &name) && uid == geteuid() &&
         name == endpointName.c_str();
}

bool release(http_t* scheduler, const char* user, const WaitingJob& job) {
  Request request(IPP_OP_RELEASE_JOB, user, job.queueUri.c_str());
  ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", job.id);
  request.send(scheduler, "/jobs/");
  if (cupsLastError() > IPP_STATUS_OK_EVENTS_COMPLETE) {
    log.error("job %d stays on hold: %s", job.id, cupsLastErrorString());
    return false;
  }
  log.info("job %d is printed now", job.id);
  return true;
}

void releaseAll(const std::string& endpointName) {
  const Connection scheduler(httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC,
                                          cupsEncryption(), 1, connectTimeoutMs, nullptr),
                             httpClose);
  if (!scheduler) return;
  httpSetTimeout(
      scheduler.get(), answerTimeoutS, [](http_t*, void*) { return 0; }, nullptr);
  const os::Passwd account(false, nullptr, geteuid());
  const char* user = account.entry.pw_name;
  cupsSetUser(user);
  std::map<std::string, bool> queues;  // whether they lead here
  for (const WaitingJob& job : waitingJobs(scheduler.get(), user)) {
    const auto [queue, isNew] = queues.try_emplace(job.queueUri);
    if (isNew) queue->second = leadsTo(endpointName, scheduler.get(), user, job.queueUri);
    // Those behind it would fare no better, or come before it.
    if (queue->second && !release(scheduler.get(), user, job)) return;
  }
}

}  // namespace

HeldJobs::HeldJobs(std::string newEndpointName)
    : endpointName(std::move(newEndpointName)), thread([this] { run(); }) {}

HeldJobs::~HeldJobs() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  changed.notify_one();
  thread.join();
}

void HeldJobs::run() {
  // Nobody is there to be asked for a password.
  cupsSetPasswordCB2([](auto...) -> const char* { return nullptr; }, nullptr);
  std::unique_lock lock(mutex);
  do {
    lock.unlock();
    try {
      releaseAll(endpointName);
    } catch (const plat::Exception& problem) {
      log.error("%s", problem.message);
    }
    lock.lock();
  } while (!changed.wait_for(lock, std::chrono::minutes(1), [this] { return stopping; }));
}

}  // namespace receiver
