# Makes and removes the device.
# shellcheck shell=bash disable=SC2154 # the parts share variables

# make_signer NAME: an authority of its own and a certificate that it signed.
make_signer()
{
    local keys=$device/keys log=$device/keys/log.$1
    local new_key=(-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 36500)
    openssl req -batch -config "$keys/openssl.conf" -x509 -extensions authority "${new_key[@]}" \
        -subj "/O=Zel Test/CN=$1 authority" -keyout "$keys/$1.ca.key.pem" -out "$keys/$1.ca.pem" 2>"$log" &&
        openssl req -batch -config "$keys/openssl.conf" -x509 -extensions signer "${new_key[@]}" \
            -CA "$keys/$1.ca.pem" -CAkey "$keys/$1.ca.key.pem" \
            -subj "/O=Zel Test/CN=$1 bundle signing" -keyout "$keys/$1.key.pem" -out "$keys/$1.cert.pem" \
            2>>"$log" || return 1
    rm -- "$log"
}

make_keys()
{
    mkdir "$device/keys"
    cat >"$device/keys/openssl.conf" <<'EOF'
[req]
distinguished_name = name

[name]

[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash

[signer]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
EOF
    make_signer vendor &
    local vendor=$!
    make_signer stranger || fail "making keys failed: $(tail -n 1 "$device/keys/log.stranger")"
    wait "$vendor" || fail "making keys failed: $(tail -n 1 "$device/keys/log.vendor")"
}

make_rauc_configuration()
{
    install -m 755 "$parts/bootloader" "$parts/post-install" "$device"
    printf '%s\n' 'order=A B' 'A=3' 'B=0' >"$device/bootloader.state"
    mkdir "$device/mount" "$device/tmp"
    cat >"$device/rauc.conf" <<EOF
[system]
compatible=$compatible
bootloader=custom
mountprefix=$device/mount
statusfile=$device/rauc.status

[handlers]
bootloader-custom-backend=$device/bootloader
post-install=$device/post-install

[keyring]
path=$device/keys/vendor.ca.pem

[slot.rootfs.0]
device=$device/slots/rootfs.0
type=raw
bootname=A

[slot.rootfs.1]
device=$device/slots/rootfs.1
type=raw
bootname=B
EOF
}

# choose_bus_socket: sets bus_socket. libdbus takes no socket path of 100 bytes or more.
choose_bus_socket()
{
    bus_socket=$device/bus.socket
    if ((${#bus_socket} >= 100)); then
        bus_socket=$(mktemp -d /tmp/zel-device.XXXXXXXX)/bus.socket
    fi
}

make_bus_configuration()
{
    bus_address
    cat >"$device/bus.conf" <<EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
    "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
    <type>system</type>
    <listen>$REPLY</listen>
    <auth>EXTERNAL</auth>
    <policy context="default">
        <allow user="*"/>
        <allow own="*"/>
        <allow send_destination="*" eavesdrop="true"/>
        <allow eavesdrop="true"/>
    </policy>
</busconfig>
EOF
}

write_record()
{
    cat >"$device/device.record" <<EOF
folder=$device
compatible=$compatible
slot-size=$slot_size
bus-socket=$bus_socket
EOF
    cat >"$device/factory-info" <<'EOF'
General.ArticleName=ZDC-100
General.ArticleNumber=1000042
General.VendorName=Zel Instruments
EOF
}

# forget_half_made STATUS: a creation that fails leaves nothing behind.
forget_half_made()
{
    (($1 == 0)) && return
    rm -rf -- "$device"
    [[ ${bus_socket-} == "$device"/* || -z ${bus_socket-} ]] || rm -rf -- "${bus_socket%/*}"
}

command_create()
{
    local factory_version=1.0.0.0
    compatible=zel-demo-controller slot_size=$((8 * 1024 * 1024))
    while (($#)); do
        expect_value "$@"
        case $1 in
            --slot-size) slot_size=$2 ;;
            --factory-version) factory_version=$2 ;;
            --compatible) compatible=$2 ;;
            *) misuse "create does not know '$1'" ;;
        esac
        shift 2
    done
    expect_number "the slot's size" "$slot_size" $((1024 * 1024))
    ((slot_size % 1024 == 0)) || misuse "the slot's size must be a multiple of 1024, not '$slot_size'"
    expect_version "the factory version" "$factory_version"
    expect_line "the compatible" "$compatible"
    expect_programs dbus-daemon dbus-send mksquashfs openssl rauc unshare

    [[ ! -e $folder/device.record ]] || fail "there is a device in '$folder' already"
    device=$(realpath -m -- "$folder")
    # The path goes into configuration files of several kinds.
    [[ $device != *[![:print:]]* && $device != *[\\\&\<\>]* && $device != *' ' ]] ||
        fail "a device cannot live in '$folder': only printable ASCII without \\ & < >, no blank at the end"
    [[ ! -e $device || -d $device ]] || fail "'$folder' is no folder"
    mkdir -p -- "$device"
    [[ -z $(ls -A -- "$device") ]] || fail "the folder '$folder' is not empty and holds no device"

    trap 'forget_half_made $?' EXIT
    mkdir "$device/run" "$device/slots"
    choose_bus_socket
    make_keys
    make_rauc_configuration
    make_bus_configuration
    write_image "$device/slots/rootfs.0" "$factory_version" "$slot_size"
    truncate -s "$slot_size" "$device/slots/rootfs.1"
    write_record
}

command_exists()
{
    [[ -f $folder/device.record ]]
}

command_destroy()
{
    [[ -e $folder ]] || return 0
    open_device "$folder"
    stop_device
    [[ $bus_socket == "$device"/* ]] || rm -rf -- "${bus_socket%/*}"
    rm -rf -- "$device"
}
