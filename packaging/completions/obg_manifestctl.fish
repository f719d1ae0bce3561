# Completion of obg_manifestctl in fish.

set -l commands list check diff lint plan verify facts apply sync
set -l before "not __fish_seen_subcommand_from $commands"
set -l kinds 'msi exe l10n script profile mst transform binary resource dmg rpm deb'

complete -c obg_manifestctl -f
complete -c obg_manifestctl -l help -d 'Show the usage'

complete -c obg_manifestctl -n $before -l root -x -a '(__fish_complete_directories)' -d 'Look for everything below a folder'
complete -c obg_manifestctl -n $before -l legacy -d 'The store of the legacy install root'
complete -c obg_manifestctl -n $before -l store -r -F -d 'That store'
complete -c obg_manifestctl -n $before -l format -x -a 'text json sarif' -d 'Form of the output'
complete -c obg_manifestctl -n $before -l color -x -a 'auto always never' -d 'Colour'
complete -c obg_manifestctl -n $before -l version -d 'Show the version'

complete -c obg_manifestctl -n $before -a list -d 'Show what a store holds'
complete -c obg_manifestctl -n $before -a check -d 'Say what is wrong with the bytes of a store'
complete -c obg_manifestctl -n $before -a diff -d 'Show how two stores differ'
complete -c obg_manifestctl -n $before -a lint -d 'Say what is wrong with manifests'
complete -c obg_manifestctl -n $before -a plan -d 'Show what the tool would do to the store'
complete -c obg_manifestctl -n $before -a verify -d 'Hold the machine against its manifests'
complete -c obg_manifestctl -n $before -a facts -d 'Show both stores to fact collectors'
complete -c obg_manifestctl -n $before -a apply -d 'Do what the tool does, all or nothing'
complete -c obg_manifestctl -n $before -a sync -d 'Make the store hold what the installed manifests list'

complete -c obg_manifestctl -n '__fish_seen_subcommand_from list' -l kind -x -a $kinds -d 'Only entries of a kind'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from check diff' -F
complete -c obg_manifestctl -n '__fish_seen_subcommand_from lint' -l strict -d 'Count warnings as errors'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from check lint' -l explain -x -d 'Tell about a rule'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from plan' -s i -d 'As if the manifests were recorded'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from plan' -s x -d 'As if they were struck'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from verify' -l strays -d 'Show also what no manifest lists'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from apply' -s i -d 'Record what the manifests list'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from apply' -s x -d 'Strike what the manifests list'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from sync' -l rebuild -d 'Make the store from the manifests alone'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from sync' -l dry-run -d 'Show what would be done'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from apply sync' -l wait -x -d 'How long to wait for another run'
complete -c obg_manifestctl -n '__fish_seen_subcommand_from lint plan verify apply' -k -a '(__fish_complete_suffix .xml)'
