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
    'check --files-from') compopt -o default ;;
    'check -j') ;;
    'check --allow') words=$("${COMP_WORDS[0]}" explain 2>/dev/null | cut -d ' ' -f 1) ;;
    'check --format') words='text json sarif github' ;;
    'graph --format') words='text dot svg html' ;;
    'graph --title') ;;
    'graph -o') compopt -o default ;;
    'preview --action') words='apply wwan_apply dnsmasq' ;;
    'preview --cell') words='up down here'; compopt -o plusdirs ;;
    'preview --program') compopt -o default ;;
    'preview -o') compopt -o plusdirs ;;
    'preview --format') words='text json' ;;
    'diff --from') ;;
    'diff --action') words='apply wwan_apply dnsmasq' ;;
    'diff --cell') words='up down here'; compopt -o plusdirs ;;
    'diff --program') compopt -o default ;;
    'diff --format') words='text json' ;;
    'try --timeout') ;;
    'try --probe') ;;
    'confirm -m') ;;
    'status --format') words='text json nagios prometheus' ;;
    'status -o') compopt -o default ;;
    'history --format') words='text json' ;;
    'report -o') compopt -o default ;;
    *)
      case "$command $word" in
        'check -'*) words='--files-from -j --strict --offline --allow --format --fix --diff -h --help' ;;
        'check '*) compopt -o default ;;
        'explain -'*) words='-h --help' ;;
        'explain '*) words=$("${COMP_WORDS[0]}" explain 2>/dev/null | cut -d ' ' -f 1) ;;
        'graph -'*) words='--format --title --full -o -h --help' ;;
        'graph '*) compopt -o default ;;
        'preview -'*) words='--action --cell --program -o --format -v -h --help' ;;
        'preview '*) compopt -o default ;;
        'diff -'*) words='--from --action --cell --program --summary --format -h --help' ;;
        'diff '*) compopt -o default ;;
        'schema -'*) words='-h --help' ;;
        'lsp -'*) words='--stdio -h --help' ;;
        'try -'*) words='--timeout --force --no-verify --probe --confirm-after-probe -h --help' ;;
        'try '*) compopt -o default ;;
        'confirm -'*) words='-m --force -h --help' ;;
        'revert -'*) words='--yes -h --help' ;;
        'revert '*) ;;
        'status -'*) words='--watch --format -o --probe -v -h --help' ;;
        'history -'*) words='--format -h --help' ;;
        'history '*) ;;
        'report -'*) words='-o --force -h --help' ;;
        ' -'*) words='-h --help --version' ;;
        ' '*) words='check explain graph preview diff schema lsp try confirm revert status history report' ;;
      esac
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _lanfab lanfab
