# Bash completion for kiv.

# The commands or options that may stand behind the words of $1.
_kiv_words()
{
    case $1 in
        '') echo error errors ini gpio pwm adc hours crc base32 paths look view --help --help-all --version ;;
        ini) echo get set list check --help ;;
        gpio) echo get list set watch --help ;;
        pwm) echo list show set --help ;;
        adc) echo read --help ;;
        hours) echo show reset --help ;;
        error) echo --json --help ;;
        errors) echo --group --markdown --json --help ;;
        'ini get' | 'ini list') echo --json --help ;;
        'ini set') echo --create --help ;;
        'ini check') echo --strict --schema --json --help ;;
        'gpio get') echo --json --help ;;
        'gpio list' | 'pwm list') echo --json --help ;;
        'gpio set') echo --release --help ;;
        'gpio watch') echo --edge --count --timeout --json --help ;;
        'pwm show') echo --json --help ;;
        'pwm set') echo --period --duty --polarity --on --off --help ;;
        'adc read') echo --json --help ;;
        'hours show' | 'hours reset') echo --number --offset --json --help ;;
        crc) echo --hex --poly --json --help ;;
        base32) echo --decode --no-padding --help ;;
        look) echo --folder --once --diagram --machine --trace --metrics --json --help ;;
        view) echo --folder --listen --port --help ;;
        paths) echo --expand --json --help ;;
    esac
}

# What may stand behind an option; a word that is none for those whose values nobody can guess.
_kiv_values()
{
    case $1 in
        --group) echo success system general network library rs232 can can-application sdo lss canopen-profile errno \
            application ;;
        --edge) echo both rising falling ;;
        --polarity) echo normal inversed ;;
        --count | --timeout | --period | --duty | --offset | --hex | --poly | --expand) echo - ;;
    esac
}

_kiv()
{
    local word=${COMP_WORDS[COMP_CWORD]} command='' candidate words i
    words=$(_kiv_values "${COMP_WORDS[COMP_CWORD - 1]}")
    if [ -n "$words" ]; then
        [ "$words" = - ] || mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
        return
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        candidate=${command:+$command }${COMP_WORDS[i]}
        [ -z "$(_kiv_words "$candidate")" ] || command=$candidate
    done
    words=$(_kiv_words "$command")
    [[ $word == -* ]] || words=${words%%--*}
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    case $command in
        'ini '* | 'adc read' | 'hours '* | crc | base32) compopt -o default 2> /dev/null ;; # files
    esac
}

complete -F _kiv kiv
