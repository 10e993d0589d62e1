# Booting and what can be asked about it.
# shellcheck shell=bash disable=SC2154 # the parts share variables

# booted_bootname: sets REPLY, or returns false when the device is off.
booted_bootname()
{
    [[ -f $device/run/booted ]] && read -r REPLY <"$device/run/booted"
}

# take_slot: sets bootname, image_info and image_version. A slot that does not boot costs its attempts.
take_slot()
{
    local failing=''
    [[ ! -f $device/run/boot-fails ]] || read -r failing <"$device/run/boot-fails"
    rm -f -- "$device/run/boot-fails"
    while true; do
        bootname=$("$device/bootloader" take 2>/dev/null) || fail "no slot boots"
        slot_of "$bootname"
        [[ $bootname == "$failing" ]] || ! read_image "$device/slots/$REPLY" || return 0
    done
}

boot_device()
{
    local bootname
    ! booted_bootname || fail "the device is on; shut it down first"
    start_bus
    take_slot
    rm -rf -- "$device/tmp" "$device/run/orders"
    mkdir -- "$device/tmp" "$device/run/orders"
    # The update service may order a restart, as logind lets it.
    ! open_service || chown -- "$service_user" "$device/run/orders"
    replace_file "$device/boot-id" </proc/sys/kernel/random/uuid
    { cat -- "$device/factory-info" && printf '%s' "$image_info"; } | replace_file "$device/device-info"
    printf '%s\n' "$bootname" >"$device/run/booted"
    start_rauc "$bootname"
}

command_boot()
{
    boot_device
    command_booted
}

command_mark_good()
{
    mark_good
}

mark_good()
{
    local output
    output=$(on_bus rauc --conf="$device/rauc.conf" status mark-good 2>&1) ||
        fail "marking the booted slot as good failed: ${output##*$'\n'}"
}

command_shutdown()
{
    expect_kill "$@"
    shut_down "$at_once"
}

# shut_down AT_ONCE
shut_down()
{
    stop_process service "$1"
    stop_rauc "$1"
    rm -f -- "$device/run/booted"
}

command_reboot()
{
    shut_down no
    boot_device
    mark_good
    command_booted
}

command_stop()
{
    stop_device
}

stop_device()
{
    shut_down no
    stop_bus no
}

command_next_boot_fails()
{
    "$device/bootloader" get-primary >"$device/run/boot-fails" || fail "no slot boots as it is"
}

command_order_restart()
{
    mkdir -p -- "$device/run/orders"
    : >"$device/run/orders/restart"
}

command_wait_restart()
{
    expect_number "the time" "$1" 1
    wait_until "$1" test -e "$device/run/orders/restart" || fail "no restart was ordered within $1 s"
}

command_booted()
{
    booted_bootname || fail "the device is off"
    slot_of "$REPLY"
    printf '%s\n' "$REPLY"
}

command_primary()
{
    local bootname
    bootname=$("$device/bootloader" get-primary 2>/dev/null) || fail "no slot boots"
    slot_of "$bootname"
    printf '%s\n' "$REPLY"
}

command_slot_version()
{
    bootname_of "$1"
    slot_of "$REPLY"
    read_image "$device/slots/$REPLY" || fail "there is no image in slot '$1'"
    printf '%s\n' "$image_version"
}

# print_state KEY NAME
print_state()
{
    if is_running "$2"; then
        printf '%s=running\n' "$1"
    else
        printf '%s=stopped\n' "$1"
    fi
}

command_status()
{
    local key value slot
    printf 'booted=%s\nprimary=%s\n' "$(command_booted 2>/dev/null)" "$(command_primary 2>/dev/null)"
    for slot in rootfs.0 rootfs.1; do
        printf '%s.version=%s\n' "$slot" "$(command_slot_version "$slot" 2>/dev/null)"
    done
    while IFS='=' read -r key value; do
        [[ $key == order ]] || { slot_of "$key" && printf '%s.attempts=%s\n' "$REPLY" "$value"; }
    done <"$device/bootloader.state"
    printf 'boot-id=%s\n' "$(cat -- "$device/boot-id" 2>/dev/null)"
    printf 'restart-ordered=%s\n' "$([[ -e $device/run/orders/restart ]] && echo yes || echo no)"
    bus_address
    printf 'bus-address=%s\n' "$REPLY"
    print_state bus bus
    print_state rauc rauc
    print_state service service
}
