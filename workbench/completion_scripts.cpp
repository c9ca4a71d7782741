// The shells' sides of completion. PROGRAM stands for the program's name.

#include "workbench/completion.h"

namespace workbench {

namespace {

// What was typed reaches the program, and is looked up among the files, without its quotes and backslashes.
constexpr const char* bashScript = R"script(# Completion of PROGRAM for bash, from: PROGRAM completion bash
_oridan_PROGRAM() {
    local words=("${COMP_WORDS[@]:1:COMP_CWORD}") answer=() endings typed ending line
    words=("${words[@]//[\\\"\']/}")
    typed=${words[COMP_CWORD - 1]}
    [ "$typed" != = ] || typed=
    mapfile -t answer < <("$1" complete -- "${words[@]}" 2>/dev/null)
    COMPREPLY=()
    for line in "${answer[@]:1}"; do
        COMPREPLY+=("$(printf %q "${line%%$'\t'*}")")
    done
    [[ ${answer[0]} == :files* ]] || return 0
    compopt -o filenames 2>/dev/null
    read -r -a endings <<<"${answer[0]#:files}"
    mapfile -t COMPREPLY < <(
        if [ ${#endings[@]} -eq 0 ]; then
            compgen -f -- "$typed"
        else
            compgen -d -- "$typed"
            for ending in "${endings[@]}"; do compgen -f -X "!*.$ending" -- "$typed"; done
        fi
    )
}
complete -F _oridan_PROGRAM PROGRAM
)script";

constexpr const char* zshScript = R"script(#compdef PROGRAM
# Completion of PROGRAM for zsh, from: PROGRAM completion zsh
_PROGRAM() {
    local -a before answer described
    local line word
    before=("${(@Q)words[2,CURRENT-1]}")
    if [[ $PREFIX == --*=* ]]; then
        before+=("${PREFIX%%=*}")
        compset -P '*='
    fi
    answer=("${(@f)$(${(Q)words[1]} complete -- "${before[@]}" "${(Q)PREFIX}" 2>/dev/null)}")
    for line in "${(@)answer[2,-1]}"; do
        word=${${line%%$'\t'*}//:/\\:}
        line=${line#*$'\t'}
        described+=("$word${line:+:$line}")
    done
    (( ${#described} )) && _describe -V PROGRAM described
    case ${answer[1]} in
        ":files") _files ;;
        ":files "*) _files -g "*.(${${answer[1]#:files }// /|})(-.)" ;;
    esac
}
# Run at once where it is loaded for its first completion, made known where it was read from a file.
if [[ ${funcstack[1]} == _PROGRAM ]]; then
    _PROGRAM "$@"
else
    compdef _PROGRAM PROGRAM
fi
)script";

constexpr const char* fishScript = R"script(# Completion of PROGRAM for fish, from: PROGRAM completion fish
function __oridan_PROGRAM
    set -l words (commandline -opc | string unescape)
    set -l typed (commandline -ct | string unescape)
    set -l answer ($words[1] complete -- $words[2..] "$typed" 2>/dev/null)
    test (count $answer) -gt 1; and printf '%s\n' $answer[2..]
    if test "$answer[1]" = :files
        __fish_complete_path "$typed"
    else if string match -q ':files *' -- "$answer[1]"
        set -l endings (string join '|' (string split ' ' -- $answer[1])[2..])
        __fish_complete_path "$typed" | string match -r "^[^\t]*(?:/|\.(?:$endings))(?:\t.*)?\$"
    end
end
complete -c PROGRAM -f -a '(__oridan_PROGRAM)'
)script";

} // namespace

std::string completion_script(const std::string& shell, const std::string& program) {
    std::string script = shell == "zsh" ? zshScript : shell == "fish" ? fishScript : bashScript;
    const std::string placeholder = "PROGRAM";
    for (std::size_t at = 0; (at = script.find(placeholder, at)) != std::string::npos; at += program.size()) {
        script.replace(at, placeholder.size(), program);
    }
    return script;
}

} // namespace workbench
