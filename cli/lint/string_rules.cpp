#include "cli/lint/string_rules.h"

#include "libcmd/text_policy.h"

void text_refused(const Site& site, Findings& findings) {
  for (const RefusedText& refused : find_refused_texts(site.source.root)) {
    findings.add(refused.offset, refused.path + ": " + refused.reason);
  }
}
