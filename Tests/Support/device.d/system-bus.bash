# A system bus as it is on a device with the packaged policies, on an address of its own. The package's tests use it too.
# shellcheck shell=bash

# for_user USER FILE...: what Packaging has for the service's own user, for another one.
for_user()
{
    sed "s/\"zel-update\"/\"$1\"/g; s/unix-user:zel-update/unix-user:$1/" "${@:2}"
}

# system_bus FOLDER ADDRESS USER NAME_POLICY RAUC_POLICY: writes FOLDER/bus.conf, the system's own configuration without
# what makes the one system bus of a machine, with the policies of RAUC, of polkit and of the service, which runs as USER.
system_bus()
{
    mkdir -p -- "$1/usr" "$1/etc"
    cp -- /usr/share/dbus-1/system.d/{de.pengutronix.rauc,org.freedesktop.PolicyKit1}.conf "$1/usr"
    for_user "$3" "$4" >"$1/usr/zel.SoftwareUpdate1.conf"
    for_user "$3" "$5" >"$1/etc/zel-updated-rauc.conf"
    sed -E '/<(user|fork|pidfile|syslog|servicehelper|standard_system_servicedirs|include )/d
            s|(<listen>)[^<]*|\1'"$2"'|
            s|(<includedir>)system.d|\1usr|; s|/etc/dbus-1/system.d|etc|' \
        /usr/share/dbus-1/system.conf >"$1/bus.conf"
}
