# Firmware images and bundles. An image begins with a block of text: a first line, KEY=VALUE lines as in
# device-info, a last line. What follows does not compress, as in a real image.
# shellcheck shell=bash disable=SC2154 # the parts share variables

readonly image_first_line=ZEL-FIRMWARE image_last_line=END image_header_size=512

# write_image FILE VERSION SIZE: VERSION was checked, SIZE (bytes) is larger than the header.
write_image()
{
    local major minor patch build header now=$EPOCHSECONDS
    IFS=. read -r major minor patch build <<<"$2"
    printf -v header '%s\n' "$image_first_line" \
        "General.Firmware.VersionMajor=$major" "General.Firmware.VersionMinor=$minor" \
        "General.Firmware.VersionPatch=$patch" "General.Firmware.VersionBuild=$build"
    printf -v header '%sGeneral.Firmware.BuildDate=%(%Y-%m-%d)T\n' "$header" "$now"
    printf -v header '%sGeneral.Firmware.BuildTime=%(%H:%M:%S)T\n' "$header" "$now"
    header+=$image_last_line$'\n'
    {
        printf "%-${image_header_size}s" "$header"
        head -c "$(($3 - image_header_size))" /dev/urandom
    } >"$1"
}

# read_image FILE: sets image_info (KEY=VALUE lines) and image_version, or returns false for no image.
read_image()
{
    local line numbers=()
    image_info='' image_version=''
    while IFS= read -r line; do
        case $line in
            "$image_first_line") ;;
            "$image_last_line")
                # shellcheck disable=SC2034
                printf -v image_version '%s.%s.%s.%s' "${numbers[@]}"
                return 0
                ;;
            General.Firmware.Version*=*)
                numbers+=("${line#*=}")
                image_info+=$line$'\n'
                ;;
            General.Firmware.*=*) image_info+=$line$'\n' ;;
            *) return 1 ;;
        esac
    done < <(head -c "$image_header_size" -- "$1" | tr -d '\0')
    return 1
}

# write_manifest FILE VERSION COMPATIBLE
write_manifest()
{
    cat >"$1" <<EOF
[update]
compatible=$3
version=$2

[bundle]
format=plain

[image.rootfs]
filename=rootfs.img
EOF
}

command_bundle()
{
    (($# >= 2)) || misuse "bundle needs a version and the file to make"
    local version=$1 out=$2 signer=vendor size=$slot_size truncated=no migration=no held=no
    local manifest_version=$version bundle_compatible=$compatible
    shift 2
    while (($#)); do
        case $1 in
            --compatible) expect_value "$@" && bundle_compatible=$2 && shift ;;
            --manifest-version) expect_value "$@" && manifest_version=$2 && shift ;;
            --image-size) expect_value "$@" && size=$2 && shift ;;
            --stranger) signer=stranger ;;
            --truncated) truncated=yes ;;
            --post-install-fails) migration=yes ;;
            --held) held=yes ;;
            *) misuse "bundle does not know '$1'" ;;
        esac
        shift
    done
    expect_version "the version" "$version"
    expect_line "the manifest's version" "$manifest_version"
    expect_line "the compatible" "$bundle_compatible"
    expect_number "the image's size" "$size" 4096
    [[ ! -d $out ]] || fail "'$out' is a folder"

    local work
    work=$(mktemp -d "$device/bundle.XXXXXX")
    # shellcheck disable=SC2064 # the folder of this call
    trap "rm -rf -- ${work@Q}" EXIT
    mkdir "$work/content"
    write_image "$work/content/rootfs.img" "$version" "$size"
    write_manifest "$work/content/manifest.raucm" "$manifest_version" "$bundle_compatible"
    if [[ $migration == yes ]]; then
        install -m 755 "$parts/failing-migration" "$work/content/migrate"
    fi
    if [[ $held == yes ]]; then
        install -m 755 "$parts/holding-hook" "$work/content/hook"
        printf '%s\n' 'hooks=pre-install' '' '[hooks]' 'filename=hook' >>"$work/content/manifest.raucm"
    fi
    TMPDIR=$work rauc bundle --cert="$device/keys/$signer.cert.pem" --key="$device/keys/$signer.key.pem" \
        --mksquashfs-args="-noI -noD -noF -noX -quiet -no-progress" "$work/content" "$work/bundle" \
        >"$work/log" 2>&1 || fail "making the bundle failed: $(tail -n 1 "$work/log")"
    if [[ $truncated == yes ]]; then
        truncate -s "$(($(stat -c %s "$work/bundle") / 2))" "$work/bundle"
    fi
    mv -f -- "$work/bundle" "$out"
}
