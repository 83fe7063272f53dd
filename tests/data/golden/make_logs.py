#!/usr/bin/env python3
"""Writes the logs of the golden archives, field by field.

The fields themselves are in fields.py. Every log has a file header, one structure record and four
statistics records: 10:10, 10:20 and 10:40 of 2021-01-01 (UTC), which make one hour, and 11:10,
alone in the next. Uses nothing of the archiver.
Usage: make_logs.py [directory]; the default is the folder of this script.
"""
import os
import sys

sys.dont_write_bytecode = True

from fields import *  # noqa: E402,F403

# --- Records -------------------------------------------------------------------------------------
def file_header(revision, bitmaps):
    """bitmaps: {offset: mask}; every other bitmap is 0."""
    size = 80 if revision < 0x19 else 256
    header = bytearray(size)
    header[0:3] = b"HDR"  # tag
    header[3] = revision  # revision
    header[4:8] = u32(DAY)  # stamp
    header[8:12] = u32(size)  # length
    header[12:13] = b"L"  # level: log
    header[13] = 0x53  # second level byte
    header[16:20] = u32(0x01020304)  # configuration word
    for offset, mask in bitmaps.items():
        header[offset:offset + 4] = u32(mask)  # items that entries of this kind carry
    if revision >= 0x1D:
        header[132:135] = bytes((121, 0, 1))  # date: 2021, January, 1st
        header[200:205] = b"OTHER"  # uninterpreted
    return bytes(header)


def structure(revision, head_size, basic, lists, trailer=b""):
    """lists: (slot, first field, count, bytes) in file order."""
    body = basic
    header = bytearray(head_size)
    header[0:3] = b"CON"  # tag
    header[3] = 0x21  # flag byte
    header[4:8] = u32(DAY)  # stamp
    if revision >= 0x1D:
        header[14:16] = u16(0x0A0B)  # carried value
    header[16:24] = u16(0x0900) + u16(1) + u32(head_size)  # descriptor of the basic information
    for slot, first, count, data in lists:
        header[slot:slot + 8] = u16(first) + u16(count) + u32(head_size + len(body))
        body += data
    if revision >= 0x15:
        end = 248 if revision >= 0x19 else 104
        header[end:end + 4] = u32(head_size + len(body))  # offset of the trailing section
        header[end + 4:end + 8] = u32(0x0C0D0E0F)  # carried word
        body += trailer
    header[8:12] = u32(head_size + len(body))  # length
    return bytes(header) + body


def statistics(revision, i, head_size, sections):
    """sections: (slot, count, bytes) in file order."""
    body = b""
    header = bytearray(head_size)
    header[0:3] = b"STA"  # tag
    header[3] = i + 1  # flag byte
    header[4:8] = u32(STAMP[i])  # stamp
    if revision >= 0x1D:
        header[14:16] = u16(0x1100 + i)  # value of the interval
    for slot, count, data in sections:  # section header: first field, entry count, offset
        header[slot:slot + 8] = u16(256 * (i + 1) + slot) + u16(count) + u32(head_size + len(body))
        body += data
    header[8:12] = u32(head_size + len(body))  # length
    return bytes(header) + body


def named_record(tag, length, fill):
    return tag + u8(0x31) + u32(DAY + 38400) + u32(length) + fill * (length - 12)


def assemble(revision, bitmaps, con, sta, after_third=b""):
    """Header, structure record, the four statistics records."""
    return (file_header(revision, bitmaps) + con + sta(0) + sta(1) + sta(2) + after_third + sta(3))


# --- The revisions -------------------------------------------------------------------------------
PD_ITEM = ((500, 20), (900, 40), (700, 30), (600, 10))  # item words of revision 0x10's disk
DP_ITEMS = ((9, 2, 8, 3, 7, 4, 6, 5), (5, 1, 9, 2, 8, 3, 7, 4), (7, 3, 7, 1, 9, 2, 8, 3),
            (6, 2, 6, 2, 6, 2, 10, 1))  # all eight of revision 0x13's disk port
HP_ITEMS = ((10, 90, 30), (30, 80, 10), (20, 95, 20), (25, 70, 60))  # three of 0x19's host port
HD_ITEMS = ((50, 20), (70, 10), (60, 30), (40, 40))  # both of revision 0x21's Hd


def rev10():
    con = structure(0x10, 80, basic_information(),
                    [(24, 0x0918, 1, HP_LIST), (32, 0x0920, 1, DP_LIST),
                     (40, 0x0928, 2, LD_LIST_48), (48, 0x0930, 1, PD_LIST)])

    def sta(i):
        return statistics(0x10, i, 80, [
            (24, 1, hp_entry(i, 3, 0, False)), (32, 1, dp_entry(i)),
            (40, 2, ld_entry(i, False) + idle_ld_entry(i)),
            (48, 1, pd_entry(i, True) + words(*PD_ITEM[i]))])

    # The disk's items: largest operation rate and largest q3 of its first quadset.
    return assemble(0x10, {44: 0xA0000000}, con, sta)


def rev11():
    con = structure(0x11, 80, basic_information(),
                    [(24, 0x0918, 1, HP_LIST), (32, 0x0920, 1, DP_LIST),
                     (40, 0x0928, 2, LD_LIST_48), (48, 0x0930, 1, PD_LIST),
                     (56, 0x0938, 1, RANK_LIST)])

    def sta(i):
        return statistics(0x11, i, 80, [
            (24, 1, hp_entry(i, 3, 0, False)), (32, 1, dp_entry(i)),
            (40, 2, ld_entry(i, marks=2 if i == 0 else 0) + idle_ld_entry(i)),
            (48, 1, pd_entry(i)), (56, 1, rank_entry(i, 0))])

    return assemble(0x11, {}, con, sta)


def rev12():
    con = structure(0x12, 80, basic_information(),
                    [(24, 0x0918, 1, HP_LIST), (32, 0x0920, 1, DP_LIST),
                     (40, 0x0928, 2, LD_LIST_48), (48, 0x0930, 1, PD_LIST),
                     (56, 0x0938, 1, RANK_LIST)])

    def sta(i):
        # The host port's ratio is missing in the second interval.
        return statistics(0x12, i, 80, [
            (24, 1, hp_entry(i, 6, 1 if i == 1 else 3)), (32, 1, dp_entry(i)),
            (40, 2, ld_entry(i) + idle_ld_entry(i)),
            (48, 1, pd_entry(i)), (56, 1, rank_entry(i))])

    return assemble(0x12, {}, con, sta)


def rev13():
    con = structure(0x13, 96, basic_information(),
                    [(24, 0x0918, 1, HP_LIST), (32, 0x0920, 1, DP_LIST),
                     (40, 0x0928, 1, CHESEG_LIST),
                     (48, 0x0930, 2, LD_LIST_48), (56, 0x0938, 1, PD_LIST),
                     (64, 0x0940, 1, RANK_LIST)])

    def sta(i):
        return statistics(0x13, i, 96, [
            (24, 1, hp_entry(i, 6)), (32, 1, dp_entry(i) + words(*DP_ITEMS[i])),
            (40, 1, cheseg_entry(i)), (48, 2, ld_entry(i) + idle_ld_entry(i)),
            (56, 1, pd_entry(i)), (64, 1, rank_entry(i))])

    # All items of the disk port; a free record and one to be copied behind the third interval.
    return assemble(0x13, {36: 0xFF000000}, con, sta,
                    named_record(b"FRE", 16, b"F") + named_record(b"NNC", 80, b"N"))


def rev15():
    con = structure(0x15, 112, basic_information(),
                    [(24, 0x0918, 1, HP_LIST), (32, 0x0920, 1, RP_LIST), (40, 0x0928, 1, DP_LIST),
                     (48, 0x0930, 1, CHESEG_LIST), (56, 0x0938, 2, LD_LIST_64),
                     (64, 0x0940, 1, PD_LIST), (72, 0x0948, 1, RANK_LIST),
                     (80, 48, 1, POOL_LIST_48)], TRAILER)

    def sta(i):
        # The item is of a kind that the revision does not carry.
        return statistics(0x15, i, 112, [
            (24, 1, hp_entry(i, 6)), (32, 1, rp_entry(i)), (40, 1, dp_entry(i)),
            (48, 1, cheseg_entry(i)), (56, 2, ld_entry(i) + idle_ld_entry(i)),
            (64, 1, pd_entry(i)), (72, 1, rank_entry(i)), (80, 1, pool_entry(i)),
            (16, 1, conc_item(i))])

    return assemble(0x15, {}, con, sta)


def rev19():
    con = structure(0x19, 256, basic_information(0, 0, conc=0x8001),
                    [(24, 0x0918, 1, HD_LIST), (48, 0x0930, 1, HP_LIST), (56, 0x0938, 1, RP_LIST),
                     (64, 0x0940, 1, DP_LIST), (72, 0x0948, 1, CACHE_LIST),
                     (80, 0x0950, 1, CHESEG_LIST), (88, 0x0958, 2, LD_LIST_64),
                     (96, 0x0960, 1, PD_LIST), (112, 0x0970, 1, RANK_LIST)], TRAILER)

    def sta(i):
        return statistics(0x19, i, 256, [
            (24, 1, hd_entry(i, HD, 0x21)), (48, 1, hp_entry(i, 6) + words(*HP_ITEMS[i])),
            (56, 1, rp_entry(i)), (64, 1, dp_entry(i)), (72, 1, cache_entry(i, 32)),
            (80, 1, cheseg_entry(i)), (88, 2, ld_entry(i) + idle_ld_entry(i)),
            (96, 1, pd_entry(i)), (112, 1, rank_entry(i)), (16, 1, conc_item(i))])

    # The host port's items: largest operation rate of its first quadset and both ratio extremes.
    return assemble(0x19, {44: 0x80000C00}, con, sta)


def new_sections(i, *, rp_mp, cache_size, second_key, hd_words=b"", mark=0, items=()):
    """The sections of 0x1A and later, which carry pools, in file order."""
    return ([(24, 1, hd_entry(i, HD, 0x21) + hd_words), (32, 1, hd_entry(i, RD, 0x22)),
             (40, 1, hd_entry(i, DD, 0x23)), (48, 1, hp_entry(i, 6)), (128, 1, node_entry(i)),
             (56, 1, rp_entry(i))] + rp_mp +
            [(64, 1, dp_entry(i)), (72, 1, cache_entry(i, cache_size)),
             (80, 1, cheseg_entry(i, second_key)),
             (88, 2, ld_entry(i, marks=mark) + idle_ld_entry(i)), (96, 1, pd_entry(i)),
             (120, 1, pool_entry(i, 1 if mark else 0)), (16, len(items), b"".join(items))])


def rev1A():
    con = structure(0x1A, 256, basic_information(1, 0x80, conc=0x8001),
                    [(128, 0x0980, 1, LIST_128), (24, 0x0918, 1, HD_LIST), (32, 0x0920, 1, RD_LIST),
                     (40, 0x0928, 1, DD_LIST), (48, 0x0930, 1, HP_LIST), (56, 0x0938, 1, RP_LIST),
                     (64, 0x0940, 1, DP_LIST), (72, 0x0948, 1, CACHE_LIST),
                     (80, 0x0950, 1, CHESEG_LIST), (88, 0x0958, 2, LD_LIST_64),
                     (96, 0x0960, 1, PD_LIST), (120, 48, 1, POOL_LIST_48)], TRAILER)

    def sta(i):
        return statistics(0x1A, i, 256, new_sections(
            i, rp_mp=[], cache_size=32, second_key=True, items=[conc_item(i)]))

    return assemble(0x1A, {}, con, sta)


def rev1C():
    con = structure(0x1C, 256,
                    basic_information(1, 0x20, conc=0x8001, ld_cp=0x8001, pool_cp=0x8001),
                    [(128, 0x0980, 1, LIST_128), (24, 0x0918, 1, HD_LIST), (32, 0x0920, 1, RD_LIST),
                     (40, 0x0928, 1, DD_LIST), (48, 0x0930, 1, HP_LIST), (56, 0x0938, 1, RP_LIST),
                     (64, 0x0940, 1, DP_LIST), (72, 0x0948, 1, CACHE_LIST),
                     (80, 0x0950, 1, CHESEG_LIST), (88, 0x0958, 2, LD_LIST_64),
                     (96, 0x0960, 1, PD_LIST), (104, 0x0968, 1, LIST_104),
                     (120, 64, 1, POOL_LIST_64)], TRAILER)

    def sta(i):
        return statistics(0x1C, i, 256, new_sections(
            i, rp_mp=[], cache_size=32, second_key=False,
            items=[conc_item(i), ld_cp_item(i), pool_cp_item(i), wait_item(i)]))

    return assemble(0x1C, {}, con, sta)


def rev21():
    con = structure(0x21, 256,
                    basic_information(1, 0x20, ld_cp=0x8001, pool_cp=0x8001, cab=0x8001),
                    [(128, 0x0980, 1, LIST_128), (24, 0x0918, 1, HD_LIST), (32, 0x0920, 1, RD_LIST),
                     (40, 0x0928, 1, DD_LIST), (48, 0x0930, 1, port_list(1, 2, 48)),
                     (56, 0x0938, 1, RP_LIST_8), (136, 0x0988, 1, MP_LIST),
                     (64, 0x0940, 1, DP_LIST),
                     (72, 0x0948, 1, CACHE_LIST), (80, 0x0950, 1, CHESEG_LIST),
                     (88, 0x0958, 2, LD_LIST_64), (96, 0x0960, 1, PD_LIST),
                     (104, 0x0968, 1, LIST_104), (120, 64, 1, POOL_LIST_64),
                     (144, 0x0990, 1, LIST_144)], TRAILER)

    def sta(i):
        return statistics(0x21, i, 256, new_sections(
            i, rp_mp=[(136, 1, mp_entry(i))], cache_size=128, second_key=False,
            hd_words=words(*HD_ITEMS[i]),
            mark=(6, 2, 4, 0)[i],  # logical disk: sticky and kept mark; pool: mark unless 0
            items=[ld_cp_item(i), pool_cp_item(i), wait_item(i), cab_item(i)]))

    # Both items of Hd.
    return assemble(0x21, {32: 0xC0000000}, con, sta)


LOGS = {"10": rev10, "11": rev11, "12": rev12, "13": rev13, "15": rev15, "19": rev19, "1A": rev1A,
        "1C": rev1C, "21": rev21}


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    for name, log in LOGS.items():
        directory = os.path.join(folder, "rev" + name)
        os.makedirs(directory, exist_ok=True)
        with open(os.path.join(directory, f"20210101rev{name}.psl"), "wb") as file:
            file.write(log())


if __name__ == "__main__":
    main()
