#include "cli/restore/restore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <exception>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/live/trial_state.h"
#include "cli/restore/plan.h"
#include "cli/restore/record.h"

// Time limits, in seconds.
constexpr std::int64_t kSettleSeconds = 15;
// A network card that was set down takes a few seconds to detect its carrier; a port without a
// cable never does.
constexpr std::int64_t kCarrierSeconds = 5;
constexpr std::int64_t kRestoreSeconds = 60;
constexpr int kStepSeconds = 5;

constexpr timespec kPause = {0, 300'000'000};

// The state of systemd-networkd; a null value if it cannot be queried.
static Json::Value query_networkd() {
  std::string output;
  Json::Value answer;
  if (capture({"networkctl", "--json=short", "list"}, output, kQuerySeconds)) return {};
  try {
    if (!parse_json(output, answer)) return {};
  } catch (const std::exception&) {
    return {};
  }
  return answer.isObject() ? answer : Json::Value();
}

// Waits until systemd-networkd has configured every link, for kSettleSeconds at most. After
// `carrier_seconds`, links without a carrier no longer matter. Returns the last state; a null value if it
// could not be queried.
static Json::Value wait_for_networkd(std::int64_t carrier_seconds) {
  const std::int64_t begin = monotonic_seconds();
  while (true) {
    Json::Value answer = query_networkd();
    const std::int64_t passed = monotonic_seconds() - begin;
    if (answer.isNull() || is_settled(answer, passed < carrier_seconds) || passed >= kSettleSeconds)
      return answer;
    nanosleep(&kPause, nullptr);
  }
}

void wait_for_links() {
  wait_for_networkd(0);
}

void record_kernel() {
  if (const auto error = write_record())
    report("lanfab: could not record the kernel state, so a rollback will not restore it: " + *error);
}

static std::optional<std::string> write_sysctl(const Step& step) {
  const std::string path = "/proc/sys/" + step.sysctl;
  Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!file.is_open() || !write_all(file.number(), step.value) || !file.close()) return with_errno(path);
  return std::nullopt;
}

// Takes a step. Returns nullopt, or an error message.
static std::optional<std::string> take(const Step& step) {
  if (!step.sysctl.empty()) return write_sysctl(step);
  if (step.command.empty()) return "it cannot be changed";
  Words command = {"ip"};
  command.insert(command.end(), step.command.begin(), step.command.end());
  std::string output;
  return capture(command, output, kStepSeconds);
}

namespace {

class Restoration {
 public:
  Restoration(const Json::Value& record, const Json::Value& networkd)
      : before_(kernel_state_of(record)), networkd_(networkd), links_(named_links(record)) {}

  // Takes the steps of all stages. Returns nullopt, or an error message if the kernel could not be queried.
  std::optional<std::string> take_steps();

  // The remaining differences.
  std::vector<std::string> differences() const;

 private:
  std::optional<std::string> query();
  std::vector<Step> steps_of_stage(Stage stage) const;
  void take_step(const Step& step) const;

  const KernelState before_;
  const NetworkdState networkd_;
  const std::set<std::string> links_;
  const UnitNames units_ = read_unit_names();
  const std::int64_t end_ = monotonic_seconds() + kRestoreSeconds;
  KernelState now_;
};

}  // namespace

std::optional<std::string> Restoration::query() {
  Json::Value state;
  if (auto error = query_kernel(state)) return error;
  now_ = kernel_state_of(state);
  return std::nullopt;
}

std::vector<Step> Restoration::steps_of_stage(Stage stage) const {
  return steps_of(stage, {before_, now_, networkd_, units_, links_});
}

void Restoration::take_step(const Step& step) const {
  const auto error = monotonic_seconds() < end_ ? take(step) : "no time is left";
  if (error) {
    report("lanfab: " + step.difference + "; could not restore it: " + *error);
  } else {
    std::printf("%s; restored\n", printable(step.difference).c_str());
  }
}

std::optional<std::string> Restoration::take_steps() {
  bool is_current = false;
  for (const Stage stage : kStages) {
    if (!is_current)
      if (auto error = query()) return error;
    const std::vector<Step> steps = steps_of_stage(stage);
    for (const Step& step : steps)
      take_step(step);
    is_current = steps.empty();
  }
  return is_current ? std::nullopt : query();
}

std::vector<std::string> Restoration::differences() const {
  std::vector<std::string> texts;
  for (const Stage stage : kStages)
    for (const Step& step : steps_of_stage(stage))
      texts.push_back(printable(step.difference));
  return texts;
}

std::vector<std::string> restore_kernel() {
  Json::Value record;
  if (const auto error = read_record(record)) {
    report("lanfab: " + *error);
    return {"could not determine the kernel's state before the trial"};
  }
  Restoration restoration(record, wait_for_networkd(kCarrierSeconds));
  if (const auto error = restoration.take_steps()) {
    report("lanfab: " + *error);
    return {"could not determine the kernel's state"};
  }
  return restoration.differences();
}
