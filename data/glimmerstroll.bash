# SPDX-License-Identifier: GPL-2.0-or-later
# bash completion for glimmerstroll. The subcommands and their options are read
# from the installed tool's own --help, so that they are always the tool's.

# The words of one section ("Subcommands" or "Options") of `glimmerstroll ARGS --help`.
_glimmerstroll_help_words() {
    local section=$1
    shift
    glimmerstroll "$@" --help 2>/dev/null | awk -v section="$section" '
        /^[A-Za-z].*:$/ { inside = (tolower($0) == tolower(section) ":"); next }
        /^$/ { inside = 0 }
        inside && /^  +[^ ]/ {
            # "  -o,--output TEXT  ...", "  --draft,--no-draft{false}  ...", "  render  ..."
            split($1, names, ",")
            for (i in names) { sub(/\{.*/, "", names[i]); print names[i] }
        }'
}

_glimmerstroll() {
    local cur prev words cword
    _init_completion || return

    local i command=""
    for ((i = 1; i < cword; i++)); do
        if [[ ${words[i]} != -* ]]; then
            command=${words[i]}
            break
        fi
    done

    if [[ -z $command ]]; then
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W "$(_glimmerstroll_help_words Options)" -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$(_glimmerstroll_help_words Subcommands)" -- "$cur"))
        fi
        return
    fi

    case $prev in
        -o | --output)
            _filedir '@(mp4|mov|mkv|png|tga|bmp)'
            return
            ;;
        --size)
            COMPREPLY=($(compgen -W "1920x1080 1280x720 3840x2160 720x576 640x360" -- "$cur"))
            return
            ;;
        --fps)
            COMPREPLY=($(compgen -W "25 24 30 50 60 29.97 30000/1001 24000/1001" -- "$cur"))
            return
            ;;
        --aspect)
            COMPREPLY=($(compgen -W "frame 4:3 16:9 letterbox" -- "$cur"))
            return
            ;;
        --fields)
            COMPREPLY=($(compgen -W "none upper lower both" -- "$cur"))
            return
            ;;
        --frames)
            return
            ;;
    esac

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(_glimmerstroll_help_words Options "$command")" -- "$cur"))
        return
    fi
    # A show file; other commands' arguments (pictures, folders) as files.
    case $command in
        render | info | edit) _filedir gsx ;;
        *) _filedir ;;
    esac
}
complete -F _glimmerstroll glimmerstroll
