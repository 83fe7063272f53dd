"""PNG files of few bytes: screenshots have few colours that matter, so 256 of them and the nearest of the
others will do."""
import struct
import zlib
from collections import Counter


def chunks(data):
    """Kinds and contents."""
    at = 8
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        yield kind, data[at + 8:at + 8 + length]
        at += 12 + length


def unfiltered(raw, stride, size):
    """Lines of bytes, of what the filters of the format left."""
    before = bytearray(stride)
    for start in range(0, len(raw), stride + 1):
        kind, line = raw[start], bytearray(raw[start + 1:start + 1 + stride])
        for i in range(stride) if kind else ():
            left = line[i - size] if i >= size else 0
            up, corner = before[i], before[i - size] if i >= size else 0
            if kind == 1:
                add = left
            elif kind == 2:
                add = up
            elif kind == 3:
                add = (left + up) >> 1
            else:
                far = [abs(up - corner), abs(left - corner), abs(left + up - 2 * corner)]
                add = (left, up, corner)[far.index(min(far))]
            line[i] = (line[i] + add) & 255
        yield bytes(line)
        before = line


def smaller(data):
    """The same picture with 256 colours."""
    parts = list(chunks(data))
    width, height, depth, form = struct.unpack(">IIBB", parts[0][1][:10])
    size = {2: 3, 6: 4}.get(form)
    if depth != 8 or size is None:
        return data
    raw = zlib.decompress(b"".join(content for kind, content in parts if kind == b"IDAT"))
    lines = [[line[i:i + 3] for i in range(0, len(line), size)] for line in unfiltered(raw, width * size, size)]
    counts = Counter(colour for line in lines for colour in line)
    palette = [colour for colour, _ in counts.most_common(256)]
    nearest = {colour: min(range(len(palette)), key=lambda i: sum((a - b) ** 2 for a, b in zip(palette[i], colour)))
               for colour in counts}
    body = b"".join(b"\0" + bytes(nearest[colour] for colour in line) for line in lines)

    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

    return (data[:8] + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0)) +
            chunk(b"PLTE", b"".join(palette)) + chunk(b"IDAT", zlib.compress(body, 9)) + chunk(b"IEND", b""))
