# Shows each user once, at login, how the last trial of a network configuration ended.
case $- in
  *i*)
    if [ -e /run/lanfab/outcome.json ] && [ -n "${HOME-}" ]; then
      _lanfab_outcome=$(lanfab record outcome 2>/dev/null)
      if [ -n "$_lanfab_outcome" ] &&
        [ "$_lanfab_outcome" != "$(cat "$HOME/.cache/lanfab-outcome" 2>/dev/null)" ]; then
        printf 'lanfab: %s\n' "$_lanfab_outcome"
        mkdir -p "$HOME/.cache" 2>/dev/null
        printf '%s\n' "$_lanfab_outcome" 2>/dev/null >"$HOME/.cache/lanfab-outcome"
      fi
      unset _lanfab_outcome
    fi
    ;;
esac
