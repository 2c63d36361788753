// A configuration through every rule of `lanfab check`: the input itself when it begins as JSON does,
// otherwise one over all paths, drawn from its bytes. Whatever it is, each finding has a place in the text
// and a message of one line, the reports can be made, and the pictures have nothing in them that a terminal
// would obey.

#include <json/json.h>
#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "check.h"
#include "cli/config_file/source.h"
#include "cli/graph/annotations.h"
#include "cli/graph/diagram.h"
#include "cli/graph/dot.h"
#include "cli/graph/shorten.h"
#include "cli/graph/text_tree.h"
#include "cli/lint/report.h"
#include "cli/lint/rules.h"
#include "generator.h"
#include "libcmd/configuration_text.h"

static std::string text_from(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  if (!text.empty() && text.front() == '{') return text;
  Generator generator(data, size);
  return Json::writeString(Json::StreamWriterBuilder(), generator.value("@network"));
}

static void check_finding(const Source& source, const Finding& finding) {
  check(finding.offset >= 0 && static_cast<std::size_t>(finding.offset) < source.text.size(),
        "a finding has its place in the text");
  check(!finding.message.empty(), "a finding has a message");
}

static bool is_control_character(unsigned char c) {
  return (c < 0x20 && c != '\n') || c == 0x7f;
}

static void check_pictures(const Site& site, const std::vector<Finding>& findings) {
  Part picture = picture_of(site);
  mark(findings, picture);
  summarize(picture);
  const std::string dot = dot_picture(picture);
  check(std::none_of(dot.begin(), dot.end(), is_control_character), "a picture has no control characters");
  text_picture(picture, Charset::kUtf8, false);
  std::size_t column = 0;
  for (const char c : text_picture(picture, Charset::kAscii, false)) {
    column = c == '\n' ? 0 : column + 1;
    check(column <= 80, "a picture is no wider than a terminal");
    check(c == '\n' || (c >= ' ' && c <= '~'), "a picture in ASCII has nothing else in it");
  }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setlogmask(LOG_MASK(LOG_EMERG));
  Source source{"network.json", text_from(data, size), {}};
  if (parse_configuration(source.text, source.root)) return 0;
  const Site site(source);
  const std::vector<Finding> findings = examine(site);
  for (const Finding& finding : findings)
    check_finding(source, finding);
  check_pictures(site, findings);
  const std::string report = text_report(source, findings, false, false);
  check(static_cast<std::size_t>(std::count(report.begin(), report.end(), '\n')) == findings.size(),
        "a finding is one line");
  text_report(source, findings, true, true);
  check(json_report(source, findings)["findings"].size() == findings.size(), "a finding is one entry");
  return 0;
}
