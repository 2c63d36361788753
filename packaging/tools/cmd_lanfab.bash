# Completion of `cmd_lanfab` for bash.
# shellcheck shell=bash

_cmd_lanfab() {
  local word=${COMP_WORDS[COMP_CWORD]} words=''
  case $COMP_CWORD$word in
    1-*) words='--help --version' ;;
    1*) words='apply wwan_apply dnsmasq' ;;
    2*) words='--pulse-ethernet' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _cmd_lanfab cmd_lanfab
