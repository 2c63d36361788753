#include "cli/live/outcome.h"

#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"

constexpr char kOutcome[] = "/run/lanfab/outcome.json";
constexpr mode_t kReadable = 0644;
// Indexed by Ending.
constexpr const char* kWords[] = {"confirmed", "rolled back", "stuck"};

Outcome outcome_of(const TrialState& state, Ending ending, const std::string& why) {
  Outcome outcome;
  outcome.trial = state.id;
  outcome.who = state.who;
  outcome.file = state.file;
  outcome.ending = ending;
  outcome.why = why;
  outcome.ended = std::time(nullptr);
  return outcome;
}

bool write_outcome(const Outcome& outcome) {
  Json::Value root(Json::objectValue);
  root["trial"] = outcome.trial;
  root["who"] = outcome.who;
  root["file"] = outcome.file;
  root["ending"] = kWords[static_cast<int>(outcome.ending)];
  root["why"] = outcome.why;
  root["note"] = outcome.note;
  root["active"] = outcome.active;
  root["ended"] = Json::Int64(outcome.ended);
  // Replaced atomically: sessions that begin meanwhile never read a partial file.
  const std::string path = std::string(kOutcome) + ".new";
  return write_file({path, kReadable, Json::writeString(Json::StreamWriterBuilder(), root)}) &&
         std::rename(path.c_str(), kOutcome) == 0;
}

std::optional<Outcome> read_outcome() {
  File file;
  Json::Value root;
  if (!read_file(kOutcome, file) || !parse_json(file.content, root) || !root.isObject()) return std::nullopt;
  const auto* const word = std::find(std::begin(kWords), std::end(kWords), text_at(root, "ending"));
  if (word == std::end(kWords)) return std::nullopt;
  Outcome outcome;
  outcome.trial = text_at(root, "trial");
  outcome.who = text_at(root, "who");
  outcome.file = text_at(root, "file");
  outcome.ending = static_cast<Ending>(word - std::begin(kWords));
  outcome.why = text_at(root, "why");
  outcome.note = text_at(root, "note");
  outcome.active = text_at(root, "active");
  outcome.ended = integer_at(root, "ended");
  return outcome;
}

void forget_outcome() {
  unlink(kOutcome);
}

static std::string time_text(std::time_t time) {
  std::tm fields{};
  char text[32] = "";
  if (localtime_r(&time, &fields) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
  return text;
}

std::string describe(const Outcome& outcome) {
  std::string text =
      outcome.file.empty() ? "an unknown trial" : outcome.file + ", tried by " + outcome.who + ",";
  if (outcome.ending == Ending::kStuck) {
    text += " is being rolled back " + outcome.why +
            ", but applying the previous configuration has failed since " +
            time_text(static_cast<std::time_t>(outcome.ended));
  } else {
    text +=
        std::string(outcome.ending == Ending::kConfirmed ? " was confirmed at " : " was rolled back at ") +
        time_text(static_cast<std::time_t>(outcome.ended)) + " " + outcome.why;
  }
  return printable(outcome.note.empty() ? text : text + "; " + outcome.note);
}
