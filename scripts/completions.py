"""Reads the commands and options of `lanfab` from `lanfab describe`; generates the completions for bash, zsh
and fish."""

import json
import re
import subprocess


class Option:
    """An option, or a positional argument, whose usage does not begin with a hyphen."""

    def __init__(self, description):
        self.usage = description["usage"]
        self.name, _, self.value = self.usage.partition(" ")
        self.is_positional = not self.usage.startswith("-")
        self.help = " ".join(description["help"].split())
        self.words = description.get("words", [])
        self.completion = description.get("completion", "nothing")
        self.is_required = description.get("required", False)
        self.is_repeated = description.get("repeated", False)
        self.default = description.get("default", "")
        self.range = description.get("range", [])
        self.excludes = description.get("excludes", "")

    @property
    def names(self):
        return self.name.split(",")

    @property
    def summary(self):
        """The help text without its details, for a completion menu."""
        return re.split("[;:] ", self.help)[0]


class Command:
    def __init__(self, description):
        self.name = description["name"]
        self.help = description["help"]
        every = [Option(option) for option in description["options"]]
        self.options = [option for option in every if not option.is_positional]
        self.arguments = [option for option in every if option.is_positional]
        for option in self.options:
            for other in self.options:
                if other.excludes == option.name:
                    option.excludes = other.name


class Program:
    """The global options and the commands of `lanfab`. The first option is --help, which every command also
    has."""

    def __init__(self, path):
        output = subprocess.run([path, "describe"], stdout=subprocess.PIPE, check=True).stdout
        description = json.loads(output)
        self.options = [Option(option) for option in description["options"]]
        self.help = self.options[0]
        self.commands = [Command(command) for command in description["commands"]]


def names_of(options):
    return [name for option in options for name in option.names]


def quoted(text):
    """Returns a string quoted for any of the shells."""
    return "'" + text.replace("'", "'\\''") + "'"


# --- bash


BASH_RULES = """words=$("${COMP_WORDS[0]}" explain 2>/dev/null | cut -d ' ' -f 1)"""
BASH = {"nothing": "", "file": "compopt -o default", "directory": "compopt -o plusdirs", "rule": BASH_RULES}

BASH_SCRIPT = """\
# Completion of `lanfab` for bash. Made by scripts/generate-documents.
# shellcheck shell=bash

_lanfab() {
  local word=${COMP_WORDS[COMP_CWORD]} before=$((COMP_CWORD - 1)) command='' words=''
  # bash takes --format=json for three words.
  if [[ $word == '=' ]]; then
    word=''
  elif [[ ${COMP_WORDS[before]} == '=' ]]; then
    before=$((before - 1))
  fi
  if ((COMP_CWORD > 1)); then command=${COMP_WORDS[1]}; fi
  case "$command ${COMP_WORDS[before]}" in
%s
    *)
      case "$command $word" in
%s
      esac
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _lanfab lanfab"""


def bash_words(words):
    return f"words={quoted(' '.join(words))}" if words else ""


def bash_case(pattern, *actions):
    return " ".join([f"{pattern})", *filter(None, ["; ".join(filter(None, actions))]), ";;"])


def bash(program):
    values, words = [], []
    for command in program.commands:
        for option in filter(lambda option: option.value, command.options):
            actions = bash_words(option.words), BASH[option.completion]
            values.append(" " * 4 + bash_case(f"'{command.name} {option.name}'", *actions))
        names = bash_words(names_of([*command.options, program.help]))
        words.append(bash_case(f"'{command.name} -'*", names))
        # The completion does not count the arguments: it completes every word as the last argument.
        for argument in command.arguments[-1:]:
            words.append(bash_case(f"'{command.name} '*", BASH[argument.completion]))
    words.append(bash_case("' -'*", bash_words(names_of(program.options))))
    words.append(bash_case("' '*", bash_words(command.name for command in program.commands)))
    return BASH_SCRIPT % ("\n".join(values), "\n".join(" " * 8 + word for word in words)) + "\n"


# --- zsh


ZSH = {"nothing": "", "file": "_files", "directory": "_directories", "rule": "_lanfab_rules"}

ZSH_SCRIPT = """\
#compdef lanfab
# Completion of `lanfab` for zsh. Made by scripts/generate-documents.

_lanfab_rules() {
  local -a rules=(${${(f)"$(_call_program rules $program explain 2>/dev/null)"}%%%% *})
  compadd "$@" -a rules
}

_lanfab() {
  local curcontext=$curcontext state line program=$words[1] ret=1
  local -A opt_args
  local -a help=(
%s
  )
  _arguments -C $help \\
%s
    '1:command:->command' \\
    '*::argument:->argument' && ret=0
  case $state-$line[1] in
    command-*)
      local -a commands=(
%s
      )
      _describe command commands && ret=0
      ;;
%s
  esac
  return ret
}

_lanfab "$@\""""


def zsh_text(text):
    """Returns a string escaped for an entry of `_arguments`."""
    return re.sub(r"([\\\]:])", r"\\\1", text)


def zsh_action(option):
    if not option.words:
        return ZSH[option.completion]
    words = f"({' '.join(option.words)})"
    if option.completion == "nothing":
        return words
    parts = f'"words:{option.value}:{words}" "others:{option.value}:{ZSH[option.completion]}"'
    return f"{{_alternative {zsh_text(parts)}}}"


def zsh_option(option, others):
    """Yields the entry of each name of an option for `_arguments`; the option excludes `others`."""
    excluded = f"({others})" if others else "*" if option.is_repeated else ""
    value = f":{option.value}:{zsh_action(option)}" if option.value else ""
    for name in option.names:
        separator = ("=" if name.startswith("--") else "+") if option.value else ""
        yield quoted(f"{excluded}{name}{separator}[{zsh_text(option.summary)}]{value}")


def zsh_argument(option):
    prefix = "*:" if option.is_repeated else ":" if option.is_required else "::"
    return quoted(prefix + zsh_text(option.summary) + ":" + zsh_action(option))


def zsh_command(command):
    specifications = [word for option in command.options for word in zsh_option(option, option.excludes)]
    specifications += [zsh_argument(argument) for argument in command.arguments]
    words = " \\\n        ".join(["_arguments $help", *specifications])
    return f"    argument-{command.name})\n      {words} && ret=0\n      ;;"


def zsh(program):
    commands = [quoted(f"{command.name}:{command.help}") for command in program.commands]
    everything = "- : *"
    options = [word for option in program.options[1:] for word in zsh_option(option, everything)]
    return ZSH_SCRIPT % (
        "\n".join(f"    {word}" for word in zsh_option(program.help, everything)),
        "\n".join(f"    {word} \\" for word in options),
        "\n".join(f"        {command}" for command in commands),
        "\n".join(map(zsh_command, program.commands)),
    ) + "\n"


# --- fish


FISH = {"nothing": "", "file": "", "directory": "(__fish_complete_directories)",
        "rule": "(lanfab explain 2>/dev/null | string replace --regex ' .*' '')"}

FISH_SCRIPT = """\
# Completion of `lanfab` for fish. Made by scripts/generate-documents.

# Whether the first word after the program is the given one; without one, whether there is none yet.
function __lanfab_is
    set -l words (commandline -opc)
    test "$words[2]" = "$argv"
end

complete -c lanfab -f"""


def fish_words(option):
    """Returns the arguments of `complete` about the values of an option or the words of an argument."""
    words = " ".join(filter(None, [*option.words, FISH[option.completion]]))
    offered = f' -a "{words}"' if words else ""
    return offered + (" -F" if option.completion == "file" else "")


def fish_option(option):
    names = "".join(f" -{'l' if name[1] == '-' else 's'} {name.lstrip('-')}" for name in option.names)
    value = ""
    if option.value:
        value = (" -r" if option.completion == "file" else " -x") + fish_words(option)
    return f"{names}{value} -d {quoted(option.summary)}"


def fish(program):
    lines = [f"complete -c lanfab{fish_option(program.help)}"]
    lines += [f"complete -c lanfab -n __lanfab_is{fish_option(option)}" for option in program.options[1:]]
    for command in program.commands:
        lines.append(f"complete -c lanfab -n __lanfab_is -a {command.name} -d {quoted(command.help)}")
    for command in program.commands:
        condition = f"complete -c lanfab -n '__lanfab_is {command.name}'"
        lines += [condition + fish_option(option) for option in command.options]
        if command.arguments:
            lines.append(condition + fish_words(command.arguments[-1]))
    return "\n".join([FISH_SCRIPT, *lines]) + "\n"
