#include "cli/status/nagios_report.h"

#include <algorithm>
#include <array>
#include <vector>

#include "cli/base/terminal.h"

// Findings named in the line; most displays would truncate a longer one.
constexpr std::size_t kNamed = 3;

static NagiosReport report_of(int status, std::string text, const std::string& performance_data) {
  constexpr std::array<const char*, 4> kWords = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
  // A bar in the text would begin the performance data.
  std::replace(text.begin(), text.end(), '|', '/');
  return {std::string("LANFAB ") + kWords.at(static_cast<std::size_t>(status)) + " - " + printable(text) +
              performance_data + "\n",
          status};
}

static std::string summary_of(const std::vector<std::string>& texts) {
  std::string line;
  for (std::size_t i = 0; i < std::min(kNamed, texts.size()); ++i)
    line += (i == 0 ? "" : "; ") + texts[i];
  return texts.size() > kNamed ? line + "; " + std::to_string(texts.size() - kNamed) + " more" : line;
}

// Descriptions of the drift; those that are not pending come first.
static std::vector<std::string> texts_of(const std::vector<Drift>& drift) {
  std::vector<std::string> texts;
  for (const bool is_pending : {false, true}) {
    for (const Drift& one : drift)
      if (one.is_pending == is_pending) texts.push_back(one.subject + ": " + describe(one));
  }
  return texts;
}

NagiosReport nagios_report_of(const StatusFindings& findings) {
  const auto pending = std::count_if(findings.drift.begin(), findings.drift.end(),
                                     [](const Drift& one) { return one.is_pending; });
  const std::size_t others = findings.drift.size() - static_cast<std::size_t>(pending);
  const std::string data = " | drift=" + std::to_string(others) + " pending=" + std::to_string(pending) +
                           " allowed=" + std::to_string(findings.allowed.size());
  const int status = exit_status_of(findings);
  if (status != kNoDrift) {
    return report_of(status == kDrift ? kNagiosCritical : kNagiosWarning,
                     summary_of(texts_of(findings.drift)), data);
  }
  if (findings.not_checked.empty()) return report_of(kNagiosOk, "no drift", data);
  return report_of(kNagiosUnknown, "not checked: " + summary_of(findings.not_checked), data);
}

NagiosReport nagios_report_of(const std::string& error) {
  return report_of(kNagiosUnknown, error, "");
}
