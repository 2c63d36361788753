# Completion of `cmd_lanfab` for fish.

function __cmd_lanfab_has_action
    test (count (commandline -opc)) -gt 1
end

complete -c cmd_lanfab -f
complete -c cmd_lanfab -n 'not __cmd_lanfab_has_action' -l help -d 'Print the usage'
complete -c cmd_lanfab -n 'not __cmd_lanfab_has_action' -l version -d 'Print the version'
complete -c cmd_lanfab -n 'not __cmd_lanfab_has_action' -a apply -d 'Regenerate everything'
complete -c cmd_lanfab -n 'not __cmd_lanfab_has_action' -a wwan_apply -d 'Regenerate cellular parts'
complete -c cmd_lanfab -n 'not __cmd_lanfab_has_action' -a dnsmasq -d 'Regenerate dnsmasq files only'
complete -c cmd_lanfab -n __cmd_lanfab_has_action -l pulse-ethernet -d 'Note it in the system log'
