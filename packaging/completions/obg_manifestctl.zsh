#compdef obg_manifestctl
# Completion of obg_manifestctl in zsh.

local -a shared commands
local context state state_descr line
typeset -A opt_args

shared=(
    '--root[look for everything below a folder]:folder:_directories'
    '--legacy[the store of the legacy install root]'
    '--store[that store]:store:_files'
    '--format[form of the output]:format:(text json sarif)'
    '--color[colour]:when:(auto always never)'
    '(- *)--help[show the usage]'
    '(- *)--version[show the version]'
)
commands=(
    'list:show what a store holds'
    'check:say what is wrong with the bytes of a store'
    'diff:show how two stores differ'
    'lint:say what is wrong with manifests'
    'plan:show what the tool would do to the store'
    'verify:hold the machine against its manifests'
    'facts:show both stores to fact collectors'
    'apply:do what the tool does, all or nothing'
    'sync:make the store hold what the installed manifests list'
)

_arguments -C $shared '1: :->command' '*:: :->arguments' && return 0

if [[ $state == command ]]; then
    _describe -t commands command commands
    return
fi

case $words[1] in
    list)
        _arguments '--kind[only entries of a kind]:kind:(msi exe l10n script profile mst transform binary resource dmg rpm deb)' \
            '(- *)--help[show the usage]' '*:pattern of ids: '
        ;;
    check)
        _arguments '(- *)--explain[tell about a rule]:rule: ' \
            '(- *)--help[show the usage]' '*:store:_files'
        ;;
    diff)
        _arguments '(- *)--help[show the usage]' '1:old store:_files' '2:new store:_files'
        ;;
    lint)
        _arguments '--strict[count warnings as errors]' '(- *)--explain[tell about a rule]:rule: ' \
            '(- *)--help[show the usage]' '*:manifest:_files -g "*.xml"'
        ;;
    plan)
        _arguments '(-x)-i[as if the manifests were recorded]' '(-i)-x[as if they were struck]' \
            '(- *)--help[show the usage]' '*:manifest:_files -g "*.xml"'
        ;;
    verify)
        _arguments '--strays[show also what no manifest lists]' \
            '(- *)--help[show the usage]' '*:manifest:_files -g "*.xml"'
        ;;
    facts)
        _arguments '(- *)--help[show the usage]'
        ;;
    apply)
        _arguments '(-x)-i[record what the manifests list]' '(-i)-x[strike what the manifests list]' \
            '--wait[how long to wait for another run]:seconds: ' \
            '(- *)--help[show the usage]' '*:manifest:_files -g "*.xml"'
        ;;
    sync)
        _arguments '--rebuild[make the store from the manifests alone]' '--dry-run[show what would be done]' \
            '--wait[how long to wait for another run]:seconds: ' '(- *)--help[show the usage]'
        ;;
esac
