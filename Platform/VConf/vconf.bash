# Completes vconf's verbs, options, and the keys of the store.
# shellcheck shell=bash

_vconf() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local verb=${COMP_WORDS[1]-} key='' i words=''
    COMPREPLY=()
    # The first word behind the verb that is no option.
    for ((i = 2; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        -t | --type | --count) ((++i)) ;;
        -?*) ;;
        *)
            key=${COMP_WORDS[i]}
            break
            ;;
        esac
    done

    if [ "$COMP_CWORD" = 1 ]; then
        words="get set unset list watch --help"
    elif [[ $previous == -t || $previous == --type ]]; then
        words="string int double bool"
    elif [ "$previous" = --count ]; then
        return
    elif [[ $current == -* ]]; then
        case $verb in
        set) words="--type --help" ;;
        list) words="--names --help" ;;
        watch) words="--count --help" ;;
        *) words="--help" ;;
        esac
    elif [[ $verb == list || $verb == watch || ! $key ]]; then
        # Written so that the shell takes them for nothing but names.
        while IFS= read -r key; do
            COMPREPLY+=("$(printf '%q' "$key")")
        done < <("${COMP_WORDS[0]}" list --names "$current" 2>/dev/null)
        return
    elif [[ $verb == set && $("${COMP_WORDS[0]}" list "$key" 2>/dev/null) == "$key  bool  "* ]]; then
        words="true false"
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _vconf vconf
