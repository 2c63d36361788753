#include "cli/status/text_report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <set>

#include "cli/base/terminal.h"
#include "cli/base/time_text.h"
#include "cli/live/trial_state.h"

// Column in which the addresses of an interface begin.
constexpr int kAddressColumn = 46;

namespace {

enum class Mark { kNone, kAllowed, kPending, kDiffers };

class Page {
 public:
  explicit Page(bool color) : color_(color) {}

  void title(const char* text) {
    if (!text_.empty()) text_ += '\n';
    text_ += styled(text, "1", color_) + "\n";
  }

  void line(Mark mark, const std::string& text) {
    const char* const signs[] = {"  ", "  ", "~ ", "! "};
    const char* const styles[] = {"", "2", "33", "1;31"};
    const std::string line = signs[static_cast<int>(mark)] + printable(text);
    text_ +=
        styled(line.substr(0, line.find_last_not_of(' ') + 1), styles[static_cast<int>(mark)], color_) + "\n";
  }

  // Adds indented lines, broken at blanks to fit the terminal.
  void note(Mark mark, std::string text) {
    constexpr std::size_t kWidth = 74;
    while (text.size() > kWidth) {
      const std::size_t blank = text.rfind(' ', kWidth);
      if (blank == std::string::npos) break;
      line(mark, "    " + text.substr(0, blank));
      text.erase(0, blank + 1);
    }
    line(mark, "    " + text);
  }

  const std::string& text() const {
    return text_;
  }

 private:
  bool color_;
  std::string text_;
};

class Report {
 public:
  Report(const Snapshot& snapshot, const StatusFindings& findings, bool messages, bool color)
      : snapshot_(snapshot), findings_(findings), drift_(findings.drift), messages_(messages), page_(color) {}

  std::string write() {
    show_trial();
    show_files();
    show_interfaces();
    show_services();
    show_cellular();
    show_leases();
    show_runs();
    show_lock();
    show_other_drift();
    show_last_trial();
    show_allowed();
    show_not_checked();
    page_.title(summary().c_str());
    return page_.text();
  }

 private:
  Mark mark_of(const std::string& subject) const {
    Mark mark = Mark::kNone;
    for (const Drift& one : drift_)
      if (one.subject == subject) mark = std::max(mark, one.is_pending ? Mark::kPending : Mark::kDiffers);
    return mark;
  }

  // Consecutive entries with the same fix share one line for it.
  void show_drift(const std::string& subject) {
    shown_.insert(subject);
    std::vector<const Drift*> own;
    for (const Drift& one : drift_)
      if (one.subject == subject) own.push_back(&one);
    for (std::size_t i = 0; i < own.size(); ++i) {
      const Drift& one = *own[i];
      const Mark mark = one.is_pending ? Mark::kPending : Mark::kDiffers;
      page_.note(mark, describe(one) + (one.why.empty() ? "" : ": " + one.why));
      const bool is_last = i + 1 == own.size() || own[i + 1]->fix != one.fix;
      if (is_last && !one.fix.empty()) page_.line(mark, "    fix: " + one.fix);
    }
  }

  // Distinguishes an empty list from one that could not be read.
  void show_absence(bool is_empty, const std::string& error, const char* none) {
    if (!error.empty()) {
      page_.line(Mark::kNone, "unknown: " + error);
    } else if (is_empty) {
      page_.line(Mark::kNone, none);
    }
  }

  void show_trial();
  void show_files();
  void show_interfaces();
  void show_interface(const std::string& name);
  void show_services();
  void show_cellular();
  void show_leases();
  void show_runs();
  void show_run(const LastRun& run);
  void show_lock();
  void show_other_drift();
  void show_last_trial();
  void show_subject(const std::string& subject);
  void show_allowed();
  void show_not_checked();
  std::string summary() const;

  const Snapshot& snapshot_;
  const StatusFindings& findings_;
  const std::vector<Drift>& drift_;
  bool messages_;
  std::set<std::string> shown_;  // subjects whose drift is already on the page
  Page page_;
};

}  // namespace

__attribute__((format(printf, 1, 2))) static std::string formatted(const char* format, ...) {
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  return line;
}

void Report::show_trial() {
  if (!snapshot_.trial && mark_of("trial") == Mark::kNone) return;
  page_.title("Trial");
  page_.note(mark_of("trial"), snapshot_.trial ? describe(*snapshot_.trial) : "a configuration is on trial");
  show_drift("trial");
}

// Shows the active configuration and the files with drift. Consecutive files with the same reason and fix
// share the lines for them.
void Report::show_files() {
  page_.title("Files");
  show_subject(active_configuration());
  std::vector<const Drift*> files;
  for (const Drift& one : drift_)
    if (one.subject.front() == '/' && shown_.count(one.subject) == 0) files.push_back(&one);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const Drift& one = *files[i];
    const Mark mark = one.is_pending ? Mark::kPending : Mark::kDiffers;
    page_.line(mark, one.subject + ": " + describe(one));
    shown_.insert(one.subject);
    if (i + 1 < files.size() && files[i + 1]->why == one.why && files[i + 1]->fix == one.fix) continue;
    page_.note(mark, one.why);
    if (!one.fix.empty()) page_.line(mark, "    fix: " + one.fix);
  }
}

void Report::show_interfaces() {
  // eth0.20 before eth0.100.
  const auto is_before = [](const std::string& one, const std::string& other) {
    return strverscmp(one.c_str(), other.c_str()) < 0;
  };
  std::vector<std::string> names;
  for (const auto& [name, wanted] : snapshot_.wanted.interfaces)
    names.push_back(name);
  for (const Drift& one : drift_)
    if (snapshot_.kernel.links.count(one.subject) != 0) names.push_back(one.subject);
  std::sort(names.begin(), names.end(), is_before);
  names.erase(std::unique(names.begin(), names.end()), names.end());

  page_.title("  Interface        Setup         Carrier   MTU  Addresses");
  for (const std::string& name : names)
    show_interface(name);
}

void Report::show_interface(const std::string& name) {
  const auto found = snapshot_.kernel.links.find(name);
  const auto setup = snapshot_.setup.find(name);
  const std::string state = setup != snapshot_.setup.end() ? setup->second : "-";
  std::string row = formatted("%-15s  %-12s", name.c_str(), state.c_str());
  std::vector<std::string> addresses;
  if (found != snapshot_.kernel.links.end()) {
    const Link& link = found->second;
    row += formatted("  %-7s %5d  ", link.has_carrier ? "yes" : "no", link.mtu);
    for (const KernelAddress& address : link.addresses)
      addresses.push_back(address.text + (address.is_dynamic ? " from DHCP" : ""));
    if (!link.bridge.empty()) addresses.push_back("in " + link.bridge);
  }
  const Mark mark = mark_of(name);
  page_.line(mark, row + (addresses.empty() ? "" : addresses.front()));
  for (std::size_t i = 1; i < addresses.size(); ++i)
    page_.line(mark, std::string(kAddressColumn, ' ') + addresses[i]);
  show_drift(name);
}

void Report::show_services() {
  page_.title("Services");
  for (const auto& [name, service] : snapshot_.services) {
    const std::string since = service.since != 0 ? "since " + time_text(service.since) : "";
    const bool has_failed = service.result != "success" && !service.result.empty();
    page_.line(mark_of(name),
               formatted("%-17s %s (%s%s%s) %s", name.c_str(), service.state.c_str(), service.detail.c_str(),
                         has_failed ? ", " : "", has_failed ? service.result.c_str() : "", since.c_str()));
    show_drift(name);
  }
}

void Report::show_cellular() {
  const Cellular& link = snapshot_.cellular;
  page_.title("Cellular link");
  std::string line = link.is_connected ? "connected" : "not connected";
  if (!link.interface.empty()) line += ": " + link.interface;
  if (!link.address.empty()) line += " " + link.address + (link.prefix.empty() ? "" : "/" + link.prefix);
  if (!link.gateway.empty()) line += ", gateway " + link.gateway;
  if (!link.mtu.empty()) line += ", MTU " + link.mtu;
  page_.line(Mark::kNone, line);
  std::string servers;
  for (const std::string& server : link.name_servers)
    servers += (servers.empty() ? "" : ", ") + server;
  if (!servers.empty()) page_.line(Mark::kNone, "name servers " + servers);
}

void Report::show_leases() {
  page_.title("Leases");
  show_absence(snapshot_.leases.empty(), snapshot_.leases_error, "none");
  for (const Lease& lease : snapshot_.leases) {
    const std::string until = lease.expires == 0 ? "permanent" : "until " + time_text(lease.expires);
    page_.line(Mark::kNone, formatted("%-15s  %-17s  %s  %s", lease.address.c_str(),
                                      lease.mac_address.c_str(), until.c_str(), lease.name.c_str()));
  }
}

void Report::show_runs() {
  page_.title("Last runs");
  show_absence(snapshot_.runs.empty(), snapshot_.runs_error,
               "none in the journal since the machine was started");
  for (const LastRun& run : snapshot_.runs)
    show_run(run);
}

void Report::show_run(const LastRun& run) {
  page_.line(mark_of(run.action),
             formatted("%-10s  %s  %s after %.1f s, %s", run.action.c_str(),
                       time_text(static_cast<std::time_t>(run.began / kMicroseconds)).c_str(),
                       word_for(run.end), static_cast<double>(run.lasted) / kMicroseconds,
                       counted(run.messages.size(), "message").c_str()));
  show_drift(run.action);
  if (!messages_) return;
  for (const Message& message : run.messages)
    page_.note(Mark::kNone, message.text.substr(0, message.text.find_last_not_of('\n') + 1));
}

void Report::show_lock() {
  if (snapshot_.lock) {
    page_.title("Lock");
    page_.line(mark_of("lock"), "since " + time_text(snapshot_.lock->since) + ", " +
                                    (snapshot_.lock->runs == 0
                                         ? "no run"
                                         : counted(static_cast<std::size_t>(snapshot_.lock->runs), "run")) +
                                    " of cmd_lanfab active or waiting");
    show_drift("lock");
  }
}

// Shows subjects that have no section of their own.
void Report::show_other_drift() {
  bool has_title = false;
  for (const Drift& one : drift_) {
    if (shown_.count(one.subject) != 0) continue;
    if (!has_title) page_.title("Other");
    has_title = true;
    show_subject(one.subject);
  }
}

void Report::show_last_trial() {
  if (!snapshot_.last_trial) return;
  page_.title("Last trial");
  page_.note(Mark::kNone, describe(*snapshot_.last_trial));
}

void Report::show_subject(const std::string& subject) {
  page_.line(mark_of(subject), subject);
  show_drift(subject);
}

void Report::show_allowed() {
  if (findings_.allowed.empty()) return;
  page_.title("Allowed");
  for (const Drift& one : findings_.allowed)
    page_.line(Mark::kAllowed, one.subject + ": " + one.what);
}

void Report::show_not_checked() {
  if (findings_.not_checked.empty()) return;
  page_.title("Not checked");
  for (const std::string& check : findings_.not_checked)
    page_.line(Mark::kNone, check);
}

// "2 differences, 1 pending."
std::string Report::summary() const {
  const auto is_pending = [](const Drift& one) { return one.is_pending; };
  const auto pending = static_cast<std::size_t>(std::count_if(drift_.begin(), drift_.end(), is_pending));
  const std::size_t others = drift_.size() - pending;
  if (drift_.empty()) {
    return findings_.not_checked.empty() ? "No drift: the gateway matches its configuration."
                                         : "No drift in what could be checked.";
  }
  std::string text = others > 0 ? counted(others, "difference") : "";
  if (others > 0 && pending > 0) text += ", ";
  if (pending > 0) text += std::to_string(pending) + " pending";
  return text + ".";
}

std::string text_of(const Snapshot& snapshot, const StatusFindings& findings, bool messages, bool color) {
  return Report(snapshot, findings, messages, color).write();
}
