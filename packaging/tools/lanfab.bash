# Completion of `lanfab` for bash.
# shellcheck shell=bash

_lanfab() {
  local -A options=(
    [check]='--strict --offline --format'
    [explain]=''
    [graph]='--format -o'
    [preview]='--action --cell --program -o --format -v'
    [diff]='--action --cell --program'
    [schema]=''
    [try]='--timeout --force'
    [confirm]=''
    [revert]='--yes'
    [status]='--watch --format -v'
  )
  local word=${COMP_WORDS[COMP_CWORD]} before=$((COMP_CWORD - 1)) words=''
  # bash takes --format=json for three words.
  if [[ $word == '=' ]]; then
    word=''
  elif [[ ${COMP_WORDS[before]} == '=' ]]; then
    before=$((before - 1))
  fi
  case ${COMP_WORDS[before]} in
    --format)
      words='text json'
      if [[ ${COMP_WORDS[1]} == graph ]]; then words='text dot svg'; fi
      ;;
    --action) words='apply wwan_apply dnsmasq' ;;
    --cell)
      words='up down here'
      compopt -o plusdirs
      ;;
    -o | --program) compopt -o default ;;
    --timeout) ;;
    *)
      if ((COMP_CWORD == 1)); then
        words=${!options[*]}
        if [[ $word == -* ]]; then words='-h --help --version'; fi
      elif [[ $word == -* ]]; then
        words="${options[${COMP_WORDS[1]}]-} -h --help"
      elif [[ ${COMP_WORDS[1]} == explain ]]; then
        words=$("${COMP_WORDS[0]}" explain 2>/dev/null | cut -d ' ' -f 1)
      elif [[ ${COMP_WORDS[1]} == @(check|graph|preview|diff|try) ]]; then
        compopt -o default
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _lanfab lanfab
