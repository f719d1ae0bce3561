# Completion of obg_manifestctl in bash.

# Prints the options of the command $1; without one, those that stand before it.
_obg_manifestctl_options() {
    case $1 in
    '') echo --root --legacy --store --format --color --help --version ;;
    list) echo --kind --help ;;
    check) echo --explain --help ;;
    lint) echo --strict --explain --help ;;
    plan) echo -i -x --help ;;
    verify) echo --strays --help ;;
    apply) echo -i -x --wait --help ;;
    sync) echo --rebuild --dry-run --wait --help ;;
    *) echo --help ;;
    esac
}

# Prints the values of the option $2 that begin with $1. False where the option takes none.
_obg_manifestctl_values() {
    case $2 in
    --root) compgen -d -- "$1" ;;
    --store) compgen -f -- "$1" ;;
    --format) compgen -W 'text json sarif' -- "$1" ;;
    --color) compgen -W 'auto always never' -- "$1" ;;
    --kind) compgen -W 'msi exe l10n script profile mst transform binary resource dmg rpm deb' -- "$1" ;;
    --explain | --wait) ;;
    *) return 1 ;;
    esac
    return 0
}

# Prints what begins with $1 and may stand as an argument of the command $2; without one, the commands.
_obg_manifestctl_arguments() {
    case $2 in
    '') compgen -W 'list check diff lint plan verify facts apply sync' -- "$1" ;;
    check | diff) compgen -f -- "$1" ;;
    lint | plan | verify | apply)
        compgen -f -X '!*.xml' -- "$1"
        compgen -d -- "$1"
        ;;
    esac
}

_obg_manifestctl() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' at
    # "--root=DIR" comes as three words.
    if [[ $word == '=' ]]; then
        word=''
    elif [[ $before == '=' ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((at = 1; at < COMP_CWORD; at++)); do
        case ${COMP_WORDS[at]} in
        --root | --store | --format | --color)
            [[ ${COMP_WORDS[at + 1]} != '=' ]] || ((at++))
            ((at++))
            ;;
        -*) ;;
        *)
            command=${COMP_WORDS[at]}
            break
            ;;
        esac
    done
    compopt -o filenames 2>/dev/null
    if _obg_manifestctl_values "$word" "$before" >/dev/null; then
        mapfile -t COMPREPLY < <(_obg_manifestctl_values "$word" "$before")
    elif [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_obg_manifestctl_options "$command")" -- "$word")
    else
        mapfile -t COMPREPLY < <(_obg_manifestctl_arguments "$word" "$command")
    fi
}

complete -F _obg_manifestctl obg_manifestctl
