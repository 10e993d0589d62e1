# What the tests of the installed files share: a folder of their own, a bus with the installed policies, expectations.
# The installed files are $ZEL_STAGE$ZEL_..., made by "cmake --install" before.
# shellcheck shell=bash
set -euo pipefail
export LC_ALL=C
: "${ZEL_STAGE:?}" "${ZEL_PREFIX:?}"
installed=$ZEL_STAGE$ZEL_PREFIX

# Users of every machine, in the roles of the service, of a stranger and of an administrator with a group.
# shellcheck disable=SC2034
service_user=daemon stranger=nobody administrator=games

work=$(mktemp --directory)
chmod 755 "$work"
children=()
clean_up()
{
    ((${#children[@]} == 0)) || kill "${children[@]}" 2>/dev/null || true
    rm -rf -- "${work:?}"
}
trap clean_up EXIT

failures=0
# complain TEXT: the test fails, but goes on.
complain()
{
    printf '%s\n' "$1" >&2
    failures=$((failures + 1))
}

# expect STATUS COMMAND...: the command ends with that exit code.
expect()
{
    local wanted=$1 status=0 output
    shift
    output=$("$@" 2>&1) || status=$?
    ((status == wanted)) || complain "'$*' ended with $status, not with $wanted: $output"
}

# expect_same WHAT FOUND WANTED: both are lines, in any order.
expect_same()
{
    local difference
    difference=$(diff <(sort --unique <<<"$2") <(sort --unique <<<"$3")) || complain "$1: $difference"
}

finish()
{
    exit $((failures > 0))
}

# shellcheck source=Tests/Support/device.d/system-bus.bash
. "$ZEL_SOURCE/Tests/Support/device.d/system-bus.bash"

# as_here FILE...: files with the service's user and group replaced by those above.
as_here()
{
    for_user "$service_user" "$@" | sed "s/zel-update-admins/$administrator/g"
}

# start_bus: a system bus with Debian's policy, RAUC's, polkit's and ours. Sets DBUS_SYSTEM_BUS_ADDRESS.
start_bus()
{
    system_bus "$work" "unix:path=$work/bus" "$service_user" \
        "$installed/share/dbus-1/system.d/zel.SoftwareUpdate1.conf" \
        "$ZEL_STAGE$ZEL_SYSCONFDIR/dbus-1/system.d/zel-updated-rauc.conf"
    local ready
    exec {ready}< <(exec dbus-daemon --nofork --config-file="$work/bus.conf" --print-address=1 2>"$work/bus.log")
    children+=("$!")
    read -r -t 10 DBUS_SYSTEM_BUS_ADDRESS <&"$ready" || {
        cat "$work/bus.log" >&2
        exit 1
    }
    export DBUS_SYSTEM_BUS_ADDRESS
}

# manual PAGE: as plain text.
manual()
{
    sed 's/\\f[A-Z]//g; s/\\//g' "$ZEL_STAGE$ZEL_MANDIR/man${1##*.}/$1"
}
