# Errors, arguments and the device's record.
# shellcheck shell=bash disable=SC2034,SC2154

# fail TEXT: ends the program.
fail()
{
    printf 'device: %s\n' "$1" >&2
    exit 1
}

# misuse TEXT: ends the program because it was called in a wrong way.
misuse()
{
    printf "device: %s; see 'device help'\n" "$1" >&2
    exit 2
}

# expect_value OPTION VALUE...: an option came with its value.
expect_value()
{
    (($# >= 2)) || misuse "$1 needs a value"
}

# expect_kill ARGUMENT...: sets at_once to yes or no.
expect_kill()
{
    at_once=no
    (($# == 0)) && return
    [[ $# == 1 && $1 == --kill ]] || misuse "$command takes nothing but --kill"
    at_once=yes
}

# expect_number NAME TEXT MINIMUM
expect_number()
{
    [[ $2 =~ ^[1-9][0-9]{0,11}$ && $2 -ge $3 ]] || misuse "$1 must be a number from $3, not '$2'"
}

# expect_version NAME TEXT
expect_version()
{
    local number='(0|[1-9][0-9]{0,8})'
    [[ $2 =~ ^$number\.$number\.$number\.$number$ ]] || misuse "$1 must look like 1.2.3.4, not '$2'"
}

# expect_line NAME TEXT: TEXT fits into one line of a configuration file.
expect_line()
{
    [[ -n $2 && $2 != *[[:cntrl:]\\]* && $2 != ' '* && $2 != *' ' ]] || misuse "$1 cannot be '$2'"
}

# expect_programs NAME...
expect_programs()
{
    local name
    for name in "$@"; do
        type -P "$name" >/dev/null || fail "the program '$name' is missing"
    done
}

# open_device DIR: sets device, compatible, slot_size (bytes) and bus_socket.
open_device()
{
    local recorded='' key value
    [[ -f $1/device.record ]] || fail "no device in '$1'"
    device=$(cd -P -- "$1" && pwd)
    while IFS='=' read -r key value; do
        case $key in
            folder) recorded=$value ;;
            compatible) compatible=$value ;;
            slot-size) slot_size=$value ;;
            bus-socket) bus_socket=$value ;;
        esac
    done <"$device/device.record"
    # Configuration and keys name files by their full path.
    [[ $recorded == "$device" ]] || fail "the device in '$device' was made as '$recorded' and cannot be moved"
}

# bootname_of SLOT: sets REPLY.
bootname_of()
{
    case $1 in
        A | rootfs.0) REPLY=A ;;
        B | rootfs.1) REPLY=B ;;
        *) misuse "there is no slot '$1'" ;;
    esac
}

# slot_of BOOTNAME: sets REPLY.
slot_of()
{
    case $1 in
        A) REPLY=rootfs.0 ;;
        B) REPLY=rootfs.1 ;;
        *) fail "the bootloader names a slot '$1'" ;;
    esac
}

# replace_file FILE: FILE gets stdin as its content, or stays as it was.
replace_file()
{
    cat >"$1.new"
    mv -f -- "$1.new" "$1"
}
