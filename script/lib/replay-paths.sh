# How the sample host under Wine is given the user's files. Sourced after wine.sh.
#
#   full_path PATH         sets `path` to PATH from the root on, with links followed
#   name_input PATH        sets `named` to what the program is given for an existing file or directory
#   name_output PATH       sets `named` to what the program is given for a file that it is to write
#   remove_staged          ... and of the directories that were needed for it nothing stays
#   show_as                the options that make the program show the user's names
#   take_completed FILE    gives a file that the program completed the user's name, and the rights that the umask leaves
#
# Wine has every name exactly, with two exceptions: a backslash parts the names of a path, and what is not UTF-8 has no
# counterpart. Such a name is reached through a link in `private`, the run's own directory. A new file of such a name is
# written in a directory of its own beside its place, and moved from there.
# shellcheck shell=bash disable=SC2034,SC2154 # `named` is for those who source this file, `private` is theirs

show_as=()
staged=() # pairs: what the program's files begin with, what they are to begin with

full_path()
{
    IFS= read -rd '' path < <(realpath -mz -- "$1") # a name may end in line feeds
}

has_counterpart()
{
    [[ $1 != *\\* ]] && iconv -f UTF-8 -t UTF-8 <<<"$1" >/dev/null 2>&1
}

# Makes the link $2 to $1, which messages show as $3.
link_as()
{
    ln -s -- "$1" "$2"
    show_as+=(--show-as "$(to_windows "$2")" "$3")
}

name_input()
{
    local ending=
    named=$(to_windows "$1")
    if ! has_counterpart "$1"; then
        [[ $1 =~ \.[A-Za-z0-9]+$ ]] && ending=${BASH_REMATCH[0]} # some formats are known by it alone
        link_as "$1" "$private/input$ending" "$1"
        named=$(to_windows "$private/input$ending")
    fi
}

name_output()
{
    local folder=${1%/*} name=${1##*/} reached=${1%/*}
    if ! has_counterpart "$folder"; then
        reached=$private/to-${#show_as[@]}
        link_as "$folder" "$reached" "$folder"
    fi
    if ! has_counterpart "$name"; then
        folder=$(mktemp -d -- "$reached/.pyx-XXXXXXXX" 2>/dev/null) || return
        show_as=(--show-as "$(to_windows "$folder/file")" "${1%.*}" "${show_as[@]}") # before the folder alone
        staged+=("$folder/file" "${1%.*}")
        reached=$folder name=file.${name##*.}
    fi
    named=$(to_windows "$reached/$name")
}

take_completed()
{
    local file=$1 i
    for ((i = 0; i < ${#staged[@]}; i += 2)); do
        if [[ $file == "${staged[i]}"* ]]; then
            file=${staged[i + 1]}${file#"${staged[i]}"}
            mv -T -- "$1" "$file" || return
        fi
    done
    chmod "$(printf '%o' $((0666 & ~$(umask))))" -- "$file" 2>/dev/null || true # not every file system has rights
}

remove_staged()
{
    local i
    for ((i = 0; i < ${#staged[@]}; i += 2)); do
        rm -rf -- "${staged[i]%/*}"
    done
}
