# Completion of `lanfab` for fish. Made by scripts/generate-documents.

# Whether the first word after the program is the given one; without one, whether there is none yet.
function __lanfab_is
    set -l words (commandline -opc)
    test "$words[2]" = "$argv"
end

complete -c lanfab -f
complete -c lanfab -s h -l help -d 'Print this help message and exit'
complete -c lanfab -n __lanfab_is -l version -d 'Display program version information and exit'
complete -c lanfab -n __lanfab_is -a check -d 'Check configurations for errors'
complete -c lanfab -n __lanfab_is -a explain -d 'Explain rules: what they check, why it matters, how to fix it'
complete -c lanfab -n __lanfab_is -a graph -d 'Draw the network, with the findings of '\''check'\'''
complete -c lanfab -n __lanfab_is -a preview -d 'Show the files and commands of a run'
complete -c lanfab -n __lanfab_is -a diff -d 'Show what a configuration would change'
complete -c lanfab -n __lanfab_is -a schema -d 'Print the JSON Schema of the configuration'
complete -c lanfab -n __lanfab_is -a lsp -d 'Run a language server for an editor, over standard input and output'
complete -c lanfab -n __lanfab_is -a try -d 'Apply a configuration; roll back unless it is confirmed in time'
complete -c lanfab -n __lanfab_is -a confirm -d 'Confirm the configuration applied by '\''try'\'''
complete -c lanfab -n __lanfab_is -a revert -d 'Roll back to the previous configuration'
complete -c lanfab -n __lanfab_is -a status -d 'Show the gateway'\''s status and any drift from its configuration'
complete -c lanfab -n __lanfab_is -a history -d 'List the configurations that were applied'
complete -c lanfab -n __lanfab_is -a report -d 'Collect what is needed for troubleshooting into one file'
complete -c lanfab -n '__lanfab_is check' -l files-from -r -F -d 'a file with more file names, one per line'
complete -c lanfab -n '__lanfab_is check' -s j -x -d 'check this many files in parallel'
complete -c lanfab -n '__lanfab_is check' -l strict -d 'also fail on warnings'
complete -c lanfab -n '__lanfab_is check' -l offline -d 'skip the dnsmasq check'
complete -c lanfab -n '__lanfab_is check' -l allow -x -a "(lanfab explain 2>/dev/null | string replace --regex ' .*' '')" -d 'do not report the findings of this rule'
complete -c lanfab -n '__lanfab_is check' -l format -x -a "text json sarif github" -d 'text, json, sarif, or github (workflow commands)'
complete -c lanfab -n '__lanfab_is check' -l fix -d 'correct the files where only one value can be right'
complete -c lanfab -n '__lanfab_is check' -l diff -d 'show what --fix would change, and nothing else'
complete -c lanfab -n '__lanfab_is check' -F
complete -c lanfab -n '__lanfab_is explain' -a "(lanfab explain 2>/dev/null | string replace --regex ' .*' '')"
complete -c lanfab -n '__lanfab_is graph' -l format -x -a "text dot svg html" -d 'text (default), dot, the language of Graphviz, svg, drawn by Graphviz, or html, a page with the diagram, the findings and tables'
complete -c lanfab -n '__lanfab_is graph' -l title -x -d 'the title'
complete -c lanfab -n '__lanfab_is graph' -l full -d 'add tables with the lists that the diagram shortens'
complete -c lanfab -n '__lanfab_is graph' -s o -r -F -d 'write the diagram to this file'
complete -c lanfab -n '__lanfab_is graph' -F
complete -c lanfab -n '__lanfab_is preview' -l action -x -a "apply wwan_apply dnsmasq" -d 'apply, wwan_apply or dnsmasq'
complete -c lanfab -n '__lanfab_is preview' -l cell -x -a "up down here (__fish_complete_directories)" -d 'the cellular link'
complete -c lanfab -n '__lanfab_is preview' -l program -r -F -d 'the cmd_lanfab to run'
complete -c lanfab -n '__lanfab_is preview' -s o -x -a "(__fish_complete_directories)" -d 'write the files below this directory, which must be empty'
complete -c lanfab -n '__lanfab_is preview' -l format -x -a "text json" -d 'text or json'
complete -c lanfab -n '__lanfab_is preview' -s v -d 'also show the messages to the system log and all errors'
complete -c lanfab -n '__lanfab_is preview' -F
complete -c lanfab -n '__lanfab_is diff' -l from -x -d 'compare FILE with this entry of the history'
complete -c lanfab -n '__lanfab_is diff' -l action -x -a "apply wwan_apply dnsmasq" -d 'apply, wwan_apply or dnsmasq'
complete -c lanfab -n '__lanfab_is diff' -l cell -x -a "up down here (__fish_complete_directories)" -d 'the cellular link'
complete -c lanfab -n '__lanfab_is diff' -l program -r -F -d 'the cmd_lanfab to run'
complete -c lanfab -n '__lanfab_is diff' -l summary -d 'print only the change summary and the interrupts'
complete -c lanfab -n '__lanfab_is diff' -l format -x -a "text json" -d 'text or json'
complete -c lanfab -n '__lanfab_is diff' -F
complete -c lanfab -n '__lanfab_is lsp' -l stdio -d 'the default'
complete -c lanfab -n '__lanfab_is try' -l timeout -x -d 'roll back after this many seconds'
complete -c lanfab -n '__lanfab_is try' -l force -d 'apply it even if it has errors'
complete -c lanfab -n '__lanfab_is try' -l no-verify -d 'do not roll back because of what '\''lanfab status'\'' finds'
complete -c lanfab -n '__lanfab_is try' -l probe -x -d 'roll back unless this shell command succeeds in time'
complete -c lanfab -n '__lanfab_is try' -l confirm-after-probe -d 'confirm it once every probe has succeeded'
complete -c lanfab -n '__lanfab_is try' -F
complete -c lanfab -n '__lanfab_is confirm' -s m -x -d 'a comment for '\''lanfab history'\'''
complete -c lanfab -n '__lanfab_is confirm' -l force -d 'replace an installed file that has changed since the trial began'
complete -c lanfab -n '__lanfab_is revert' -l yes -d 'do not prompt'
complete -c lanfab -n '__lanfab_is revert'
complete -c lanfab -n '__lanfab_is status' -l watch -d 'refresh continuously'
complete -c lanfab -n '__lanfab_is status' -l format -x -a "text json nagios prometheus" -d 'text (default), json, nagios (one line, with the exit status of a plugin) or prometheus (metrics)'
complete -c lanfab -n '__lanfab_is status' -s o -r -F -d 'write the output to this file, atomically'
complete -c lanfab -n '__lanfab_is status' -l probe -d 'also send packets to hosts and servers, and check their answers'
complete -c lanfab -n '__lanfab_is status' -s v -d 'also show the messages of the last runs'
complete -c lanfab -n '__lanfab_is history' -l format -x -a "text json" -d 'text or json'
complete -c lanfab -n '__lanfab_is history'
complete -c lanfab -n '__lanfab_is report' -s o -r -F -d 'the bundle'
complete -c lanfab -n '__lanfab_is report' -l force -d 'replace FILE if it exists'
