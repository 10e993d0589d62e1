# A device in a folder with the real RAUC and the update service, as the tests of the package's rights use it.
# shellcheck shell=bash
# shellcheck source=Tests/Package/common.bash
. "$(dirname -- "$0")/common.bash"
: "${ZEL_BUILD:?}"
PATH=$ZEL_BUILD/bin:$PATH
# Nobody is asked whether an installation is meant.
exec </dev/null

device() { "$ZEL_SOURCE/Tests/Support/device" "$1" "$work/device" "${@:2}"; }
as_stranger() { device as "$stranger" "$@"; }
fact() { zelupdate status --json | jq --raw-output ".$1"; }
stop_device()
{
    ((failures == 0)) || tail -n 20 "$work/device/zel-updated.log" >&2
    device stop
    ! mountpoint --quiet "$work/device/state" || umount "$work/device/state"
    device destroy
    clean_up
}

make_device()
{
    trap stop_device EXIT
    device create
    device install-service "$ZEL_BUILD" "$service_user" "$administrator"
    export "$(device env)"
}

boot()
{
    device boot >/dev/null
    device service-start
    device mark-good
}
