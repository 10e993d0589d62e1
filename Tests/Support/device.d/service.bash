# The update service on the device: a user without rights, the packaged bus policies, settings and a folder of its own.
# shellcheck shell=bash disable=SC2154 # the parts share variables
sources=$(realpath -- "$parts/../../..")
own_session=

# open_service: sets service_user and build; false when there is no update service.
open_service()
{
    [[ -f $device/service.record ]] && { read -r service_user && read -r build; } <"$device/service.record"
}

command_install_service()
{
    (($# == 2 || $# == 3)) || misuse "install-service takes a build's folder, a user and perhaps a group"
    local build=$1 user=$2 group=${3-}
    ((EUID == 0)) || fail "the update service of another user needs root"
    ! is_running bus || fail "the device's bus is running; stop the device first"
    [[ -x $build/bin/zel-updated ]] || fail "there is no update service in '$build'"
    id -- "$user" >/dev/null 2>&1 || fail "there is no user '$user'"
    build=$(realpath -- "$build")
    mkdir -p -- "${bus_socket%/*}"
    chmod 755 "$device" "$device/run" "${bus_socket%/*}"
    chmod 644 "$device/device.record"
    local program
    for program in "$build/bin/zel-updated" "${parts%.d}"; do
        (as_user "$user" "$program" --help) >/dev/null || fail "the user '$user' cannot run '$program'"
    done

    bus_address
    system_bus "$device/bus" "$REPLY" "$user" "$sources"/Packaging/dbus/{zel.SoftwareUpdate1,zel-updated-rauc}.conf
    write_settings "$group"
    printf '%s\n' "$user" "$build" >"$device/service.record"
    take_state_over "$user"
}

# take_state_over USER: the service's folder is that user's, and closed to others, as its unit makes it.
take_state_over()
{
    local owner
    owner=$(stat --format=%U "$device/state" 2>/dev/null) || owner=$1
    install -d -m 700 -o "$1" -g "$(id --group "$1")" "$device/state"
    [[ $owner != "$1" ]] || return 0
    chown -R --no-dereference "$1:$(id --group "$1")" "$device/state"
    echo "The records in $device/state belonged to $owner; from now on to $1, as whom the service runs."
}

# write_settings GROUP: the group may be empty.
write_settings()
{
    local group=${1:+<AdministratorGroup>$1</AdministratorGroup>}
    cat >"$device/rauc-updater.xml" <<XML
<RaucUpdaterSettingsDocument>
  <PendingUpdatePath>\${DataFolder}/pending.raucb</PendingUpdatePath>
  <ManufacturerUri>https://zel.example</ManufacturerUri>
  <ChangeLogReference>https://zel.example/changes/{0}</ChangeLogReference>
</RaucUpdaterSettingsDocument>
XML
    cat >"$device/zel-updated.xml" <<XML
<ZelUpdatedSettingsDocument>
  <Module>
    <Library>$build/lib/libRaucUpdater.so</Library>
    <Name>RaucUpdater</Name>
    <Settings>rauc-updater.xml</Settings>
  </Module>
  <DataFolder>state</DataFolder>
  <DeviceInfoFile>device-info</DeviceInfoFile>
  <BootIdFile>boot-id</BootIdFile>
  <RestartCommand>
    <Argument>${parts%.d}</Argument>
    <Argument>order-restart</Argument>
    <Argument>$device</Argument>
  </RestartCommand>
  $group
  <LogSink>console</LogSink>
</ZelUpdatedSettingsDocument>
XML
}

# as_user USER COMMAND...: replaces this process. With own_session set, the command leads a process group of its own.
as_user()
{
    bus_address
    export DBUS_SYSTEM_BUS_ADDRESS=$REPLY
    exec ${own_session:+setsid} "$parts/without-rights" "$1" "$device" "${bus_socket%/*}" "$sources" "$build" \
        -- "${@:2}"
}

command_as()
{
    (($# >= 2)) || misuse "as needs a user and a command"
    open_service || fail "there is no update service on the device"
    as_user "$@"
}

is_service_up()
{
    ! is_running service || on_bus "$build/bin/zelupdate" status --json >/dev/null 2>&1
}

command_service_start()
{
    open_service || fail "there is no update service on the device"
    booted_bootname || fail "the device is off"
    is_running service && return
    (
        close_inherited_files
        own_session=yes
        as_user "$service_user" "$build/bin/zel-updated" --settings "$device/zel-updated.xml"
    ) </dev/null >>"$device/zel-updated.log" 2>&1 &
    remember service "$!" || fail "the update service did not start: $(tail -n 1 "$device/zel-updated.log")"
    wait_until 30 is_service_up || fail "the update service runs, but does not answer"
    is_running service || fail "the update service did not start: $(tail -n 1 "$device/zel-updated.log")"
}

command_service_stop()
{
    expect_kill "$@"
    stop_process service "$at_once"
}
