# The device's processes: bus, RAUC and, where there is one, the update service. They outlive this program;
# run/NAME.pid tells which they are.
# shellcheck shell=bash disable=SC2154 # the parts share variables

# start_time PID: sets REPLY, or returns false when that process is gone (or dead and not yet collected).
start_time()
{
    local line fields
    { read -r line <"/proc/$1/stat"; } 2>/dev/null || return 1
    read -r -a fields <<<"${line##*) }"
    [[ ${fields[0]} != [ZX] ]] || return 1
    REPLY=${fields[19]}
}

# remember NAME PID. The start time is kept with the number, so that the number's next owner is not taken
# for ours.
remember()
{
    start_time "$2" || return 1
    printf '%s %s\n' "$2" "$REPLY" >"$device/run/$1.pid"
}

# is_running NAME: sets pid when it is.
is_running()
{
    local started
    [[ -f $device/run/$1.pid ]] && read -r pid started <"$device/run/$1.pid" &&
        start_time "$pid" && [[ $REPLY == "$started" ]]
}

# wait_until SECONDS COMMAND...
wait_until()
{
    local deadline=$((${EPOCHREALTIME/./} + $1 * 1000000))
    shift
    until "$@"; do
        ((${EPOCHREALTIME/./} < deadline)) || return 1
        sleep 0.01
    done
}

is_gone()
{
    ! is_running "$1"
}

# stop_process NAME AT_ONCE: AT_ONCE is yes or no; a process that does not end within 5 s is killed too. Each
# is the leader of its process group; what it started ends with it.
stop_process()
{
    if is_running "$1"; then
        if [[ $2 == no ]]; then
            kill -TERM "$pid" 2>/dev/null || true
            wait_until 5 is_gone "$1" || true
        fi
        kill -KILL -- "-$pid" 2>/dev/null || true
        wait_until 5 is_gone "$1" || fail "process $pid ($1) does not end"
    fi
    rm -f -- "$device/run/$1.pid"
}

# close_inherited_files: whoever waits for the end of a pipe of ours must not wait for the device's end.
close_inherited_files()
{
    local file
    for file in /proc/"$BASHPID"/fd/*; do
        file=${file##*/}
        ((file <= 2)) || exec {file}>&-
    done
}

# bus_address: sets REPLY.
bus_address()
{
    local character i
    REPLY=unix:path=
    for ((i = 0; i < ${#bus_socket}; i++)); do
        character=${bus_socket:i:1}
        [[ $character == [-0-9A-Za-z_/.] ]] || printf -v character '%%%02x' "'$character"
        REPLY+=$character
    done
}

# on_bus COMMAND...: the command talks to the device's bus as its system bus.
on_bus()
{
    bus_address
    DBUS_SYSTEM_BUS_ADDRESS=$REPLY "$@"
}

command_bus_start()
{
    start_bus
    bus_address
    printf '%s\n' "$REPLY"
}

start_bus()
{
    local output
    is_running bus && return
    local configuration=$device/bus.conf
    [[ -d ${bus_socket%/*} ]] || mkdir -m 700 -- "${bus_socket%/*}"
    if open_service; then
        configuration=$device/bus/bus.conf
        chmod 755 -- "${bus_socket%/*}"
    fi
    rm -f -- "$bus_socket"
    # The daemon listens before its first process ends; the second closes our pipe.
    output=$(close_inherited_files && exec dbus-daemon --config-file="$configuration" --fork \
        --print-pid=1 </dev/null 2>"$device/bus.log") ||
        fail "the bus did not start: $(tail -n 1 "$device/bus.log")"
    remember bus "$output" || fail "the bus ended at once"
}

command_bus_stop()
{
    expect_kill "$@"
    stop_bus "$at_once"
}

# stop_bus AT_ONCE
stop_bus()
{
    stop_process bus "$1"
    rm -f -- "$bus_socket"
    # RAUC ends by itself when its connection breaks.
    wait_until 5 is_gone rauc || fail "RAUC did not end with its bus"
    stop_rauc no
}

is_name_owned()
{
    is_running rauc || return 0
    [[ $(on_bus dbus-send --system --print-reply=literal --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:de.pengutronix.rauc 2>/dev/null) == *true ]]
}

# start_rauc BOOTNAME. RAUC has a mount namespace of its own, as its unit gives it one: what it mounted is
# gone with it, however it ends. A file grows where a partition is full, so the slot's size is the limit of
# every file that RAUC writes; slots are larger than a log ever gets.
start_rauc()
{
    is_running rauc && return
    ((EUID == 0)) || fail "RAUC needs root"
    is_running bus || fail "RAUC needs the bus, which is not running"
    rm -f -- "$device/run/held"
    (
        close_inherited_files
        trap '' XFSZ
        ulimit -f "$((slot_size / 1024))"
        cd /
        bus_address
        export TMPDIR=$device/tmp DBUS_SYSTEM_BUS_ADDRESS=$REPLY
        exec setsid unshare --mount --propagation slave \
            rauc --conf="$device/rauc.conf" service --override-boot-slot="$1"
    ) </dev/null >>"$device/rauc.log" 2>&1 &
    remember rauc "$!" || fail "RAUC did not start: $(tail -n 1 "$device/rauc.log")"
    wait_until 10 is_name_owned || fail "RAUC runs, but does not appear on the bus"
    is_running rauc || fail "RAUC did not start: $(tail -n 1 "$device/rauc.log")"
}

command_rauc_start()
{
    booted_bootname || fail "the device is off"
    start_rauc "$REPLY"
}

command_rauc_stop()
{
    expect_kill "$@"
    stop_rauc "$at_once"
}

# stop_rauc AT_ONCE
stop_rauc()
{
    stop_process rauc "$1"
    # A hook that RAUC left behind waits for this.
    rm -f -- "$device/run/held"
}

command_rauc()
{
    on_bus rauc --conf="$device/rauc.conf" "$@"
}

command_install()
{
    local output
    is_running rauc || fail "RAUC is not running"
    output=$(on_bus rauc --conf="$device/rauc.conf" install "$(realpath -m -- "$1")" 2>&1) && return
    if [[ $output == *LastError:* ]]; then
        output=${output#*LastError: }
        fail "installing '$1' failed: ${output%%$'\n'*}"
    fi
    fail "installing '$1' failed: ${output##*$'\n'}"
}

command_wait_held()
{
    expect_number "the time" "$1" 1
    wait_until "$1" test -e "$device/run/held" || fail "RAUC was not held within $1 s"
}

command_release()
{
    rm -- "$device/run/held" 2>/dev/null || fail "RAUC is not held"
}

command_env()
{
    bus_address
    printf 'DBUS_SYSTEM_BUS_ADDRESS=%s\n' "$REPLY"
}
