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

# as_here FILE...: files with the service's user and group replaced by those above.
as_here()
{
    sed "s/zel-update-admins/$administrator/g; s/\"zel-update\"/\"$service_user\"/g; s/unix-user:zel-update/unix-user:$service_user/" "$@"
}

# start_bus: a system bus with Debian's policy, RAUC's, polkit's and ours. Sets DBUS_SYSTEM_BUS_ADDRESS.
start_bus()
{
    mkdir "$work/usr" "$work/etc"
    cp /usr/share/dbus-1/system.d/{de.pengutronix.rauc,org.freedesktop.PolicyKit1}.conf "$work/usr"
    as_here "$installed/share/dbus-1/system.d/zel.SoftwareUpdate1.conf" >"$work/usr/zel.SoftwareUpdate1.conf"
    as_here "$ZEL_STAGE$ZEL_SYSCONFDIR/dbus-1/system.d/zel-updated-rauc.conf" >"$work/etc/zel-updated-rauc.conf"
    sed -E '/<(user|fork|pidfile|syslog|servicehelper|standard_system_servicedirs|include )/d
            s|(<listen>unix:path=)[^<]*|\1'"$work"'/bus|
            s|(<includedir>)system.d|\1'"$work"'/usr|; s|/etc/dbus-1/system.d|'"$work"'/etc|' \
        /usr/share/dbus-1/system.conf >"$work/bus.conf"
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
