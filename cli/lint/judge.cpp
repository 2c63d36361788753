#include "cli/lint/judge.h"

#include <utility>

#include "cli/lint/fixes.h"
#include "cli/lint/rules.h"

Judgement judge(Source& source, const std::vector<std::string>& allowed, const Examiner& other) {
  std::vector<Finding> findings = examine(source);
  if (other) other(Site(source), findings);
  Judgement judgement = judgement_of(source.text, std::move(findings), allowed);
  settle_fixes(source.text, judgement);
  return judgement;
}

Judgement judgement_of(const SyntaxError& error) {
  return {{{kSyntaxRule, Severity::kError, error.range, error.message, {error.related, error.fix}}}, {}};
}
