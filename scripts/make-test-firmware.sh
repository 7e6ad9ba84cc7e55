#!/bin/sh
# Writes the kit's test firmware image for the RM830 bracelet, in Intel HEX, to the file given (default:
# resources/firmware/J055_07_V638_20190122.hex).
#
# The image is deterministic: run it again and the file is the same byte for byte (a test checks the
# committed file against this script). It is NOT firmware: a real deployment installs the bracelet maker's
# image under the same name in the kit's resource folder (see README.md, "Firmware updates").
#
# What the file holds, in order:
#   - 32 bytes at 0x0000, below the 0x1000 floor (the bracelet's boot area; the kit leaves it out);
#   - the application image from 0x1000 on, 262144 bytes, 16 bytes per record, crossing the 64 KiB segments
#     with extended linear address records (segments 1 to 4 follow each other, so the image goes on):
#       bytes 0-3  "J055" (the image header the lab's bracelet looks for),
#       bytes 4-7  the version the bracelet reports after the update, 54.51.56.1 (36 33 38 01),
#       then a pseudo-random sequence (x = (75 x + 74) mod 65537 from x = 1, low byte of each x);
#   - 16 bytes of settings at 0x10001000 (a jump to a far segment: the image ends before them);
#   - a start linear address record and the end-of-file record.
# Lines end in "\n".
set -eu

out=${1:-resources/firmware/J055_07_V638_20190122.hex}

LC_ALL=C awk -v image_size=262144 '
function hex2(v) { return sprintf("%02X", v) }
# One record: length, 16-bit address, type, data bytes (array d, n bytes), checksum.
function record(address, type, n,    i, sum, line) {
    sum = n + int(address / 256) + address % 256 + type
    line = ":" hex2(n) sprintf("%04X", address) hex2(type)
    for (i = 0; i < n; i++) { line = line hex2(d[i]); sum += d[i] }
    line = line hex2((256 - sum % 256) % 256)
    print line
}
function linear(segment) { d[0] = int(segment / 256); d[1] = segment % 256; record(0, 4, 2) }
BEGIN {
    # Boot area below the floor.
    for (i = 0; i < 16; i++) d[i] = 255
    record(0, 0, 16); record(16, 0, 16)

    header[0] = 74; header[1] = 48; header[2] = 53; header[3] = 53   # "J055"
    header[4] = 54; header[5] = 51; header[6] = 56; header[7] = 1    # 54.51.56.1
    x = 1
    segment = 0
    for (offset = 0; offset < image_size; offset += 16) {
        address = 4096 + offset
        if (int(address / 65536) != segment) { segment = int(address / 65536); linear(segment) }
        for (i = 0; i < 16; i++) {
            k = offset + i
            if (k < 8) { d[i] = header[k] } else { x = (75 * x + 74) % 65537; d[i] = x % 256 }
        }
        record(address % 65536, 0, 16)
    }

    # Settings in a far segment: not part of the image.
    linear(4096)
    for (i = 0; i < 16; i++) d[i] = i
    record(4096, 0, 16)
    # Start linear address 0x00001000, end of file.
    d[0] = 0; d[1] = 0; d[2] = 16; d[3] = 0; record(0, 5, 4)
    record(0, 1, 0)
}' > "$out"
