# Debian packages: what each purpose needs, and how it gets here. Sourced after common.sh.
#
#   need_packages NAME...              installs those that are missing (root, or sudo); calls apt only then
#   fetch_source PACKAGE VERSION WORK  unpacks a source package to WORK/source, with Debian's patches applied; WORK is an
#                                      empty folder. VERSION may be empty: the newest, as when it is no longer offered
#   source_version PACKAGE             version of the source that a package was built from: the installed one, or else the
#                                      one that apt would install
# shellcheck shell=bash disable=SC2034,SC2164 # the lists are for those who source this file, who also set errexit

PACKAGES_BUILD=(cmake ninja-build {gcc,g++}-mingw-w64-x86-64-{posix,win32} libcli11-dev nlohmann-json3-dev)
PACKAGES_RUN=(wine64)
PACKAGES_MEDIA=(ffmpeg)                          # test videos, and the judge of what was written
# Unpacking source packages and building FFmpeg's libraries.
PACKAGES_SOURCE=(dpkg-dev make gcc-mingw-w64-x86-64-posix)
PACKAGES_TEST=(googletest clang lld python3)     # the second compiler is the binary contract's
PACKAGES_PAGE=(chromium)                         # opens the sample host's page of a run
PYX_LLVM=19                                      # both releases of Debian have it, and others format differently
PACKAGES_LINT=("clang-format-$PYX_LLVM" "clang-tidy-$PYX_LLVM" cppcheck)

as_root()
{
    if [[ $EUID -eq 0 ]]; then
        "$@"
    else
        sudo "$@"
    fi
}

# Whether as_root works, perhaps after asking for a password.
may_be_root()
{
    [[ $EUID -eq 0 ]] && return
    [[ $(type -t sudo) ]] && { sudo -n true 2>/dev/null || [[ -t 2 ]]; }
}

is_installed()
{
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

source_version()
{
    dpkg-query -W -f '${source:Version}' "$1" 2>/dev/null ||
        apt-cache show --no-all-versions "$1" 2>/dev/null | sed -nE '/^Version: /{s///;s/\+b[0-9]+$//;p}'
}

install_packages()
{
    local install=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y
        --no-install-recommends "$@")
    # Lists may be missing (a fresh machine) or older than the mirror: then update them once and try again.
    as_root "${install[@]}" && return
    as_root apt-get -o DPkg::Lock::Timeout=300 update
    as_root "${install[@]}"
}

need_packages()
{
    local missing=() name
    for name in "$@"; do
        is_installed "$name" || missing+=("$name")
    done
    [[ ${#missing[@]} -gt 0 ]] || return 0
    may_be_root || die "Packages are missing, and only root may install them: apt-get install ${missing[*]}"
    quietly "Installing ${missing[*]}" install_packages "${missing[@]}"
}

# The machine's own package sources with their source packages instead of the binary ones, written below $1.
# The system's configuration stays as it is, and reading it needs no root.
private_apt()
{
    local private=$1 file
    mkdir -p "$private"/{sources.list.d,lists/partial,cache/archives/partial}
    touch "$private/sources.list"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [[ -r $file ]] || continue
        sed -nE '/cdrom:/d; s/^[[:space:]]*deb([[:space:]].*)$/deb-src\1/p' "$file" >>"$private/sources.list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [[ -r $file ]] || continue
        sed -E 's/^Types:.*/Types: deb-src/I' "$file" >"$private/sources.list.d/${file##*/}"
    done
}

fetch_source_into()
{
    local package=$1 version=$2 work=$3
    local apt=(apt-get -o Dir::Etc::SourceList="$work/apt/sources.list" -o Dir::Etc::SourceParts="$work/apt/sources.list.d"
        -o Dir::State::Lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache")
    chmod 755 "$work" # apt downloads as a user of its own
    private_apt "$work/apt"
    # A third party's entry without source packages fails the update as a whole, and is none of our business.
    "${apt[@]}" update || true
    mkdir "$work/unpack"
    cd "$work/unpack"
    if [[ -z $version ]] || ! "${apt[@]}" source --only-source "$package=$version"; then
        "${apt[@]}" source --only-source "$package"
    fi
    local folders=(*/)
    mv "${folders[0]}" "$work/source"
}

fetch_source()
{
    need_packages "${PACKAGES_SOURCE[@]}"
    quietly "Fetching the source package of $1" fetch_source_into "$@"
}
