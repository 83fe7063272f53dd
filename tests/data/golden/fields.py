"""The fields of the golden logs: the counters of the four intervals, the statistics entries of each
kind, the optional items and the structure lists. make_logs.py puts them together.
"""
import struct

# --- The four intervals --------------------------------------------------------------------------
DAY = 1609459200  # 2021-01-01 00:00:00 UTC, stamp of header and structure record
STAMP = (DAY + 36600, DAY + 37200, DAY + 38400, DAY + 40200)  # 10:10, 10:20, 10:40, 11:10
LENGTH = (10000, 10000, 20000, 5000)  # interval lengths in milliseconds (not the stamps' distance)
COUNT = (10, 20, 30, 5)  # operations, times kind number times quadset number
MEAN1 = (6, 3, 10, 7)  # first average, plus quadset number
PEAK = (100, 300, 200, 150)  # maximum, plus 10 x kind number plus quadset number
MEAN3 = (1024, 4096, 2048, 3072)  # second average (volume per operation)
RATIO = (1000, 3000, 4000, 2000)  # busy ratio in hundredths of a percent, plus 10 x kind number
RATIO2 = (500, 700, 1000, 300)  # second ratio (cache segment, cache), plus 10 x kind number
RATE = (100, 200, 300, 50)  # cache rates; the second is one more
CAB = (100, 200, 301, 50)  # cabinet values

# Kind numbers: they make the counters of no two kinds alike.
HP, NODE, RP, MP, DP, CHESEG, LD, PD, RANK, POOL, CACHE, HD, RD, DD, WAIT = range(1, 16)


def u8(value):
    return struct.pack(">B", value)


def u16(value):
    return struct.pack(">H", value)


def u32(value):
    return struct.pack(">I", value)


def ratio(i, k):
    return RATIO[i] + 10 * k


def quadset(i, k, n):
    """Quadset n (from 1) of kind k in interval i."""
    return (u32(COUNT[i] * k * n)  # 0: operations
            + u32(MEAN1[i] + n)  # 4: first average
            + u32(PEAK[i] + 10 * k + n)  # 8: maximum
            + u32(MEAN3[i]))  # 12: second average


def quadsets(i, k, count):
    return b"".join(quadset(i, k, n) for n in range(1, count + 1))


def head(i, k):
    return (u32(256 * k + i + 1)  # 0: status word
            + u32(LENGTH[i]))  # 4: interval length


# --- Statistics entries: i is the interval, from 0 -----------------------------------------------
def hd_entry(i, k, key):
    """Hd and Rd; Dd without its two words."""
    words = (0, 0) if k == DD else (0x5000 + i, 0x6000 + i)
    return (head(i, k) + u8(key)  # 8: key
            + u8(0)  # 9: valid
            + bytes(4)  # 10
            + u16(ratio(i, k))  # 14: ratio
            + u32(words[0]) + u32(words[1])  # 16, 20: carried words
            + bytes(8))  # 24


def hp_entry(i, sets, flags=3, rated=True):
    """Host port: 3 quadsets and no ratio up to 0x11, 6 and a ratio from 0x12 on."""
    return (head(i, HP) + u8(1) + u8(2)  # 8, 9: key
            + u8(flags)  # 10: bit 0 counted interval, bit 1 ratio present
            + u8(0)  # 11: valid
            + bytes(2)  # 12
            + u16(ratio(i, HP) if rated else 0)  # 14: ratio
            + quadsets(i, HP, sets))  # 16


def node_entry(i):
    return (head(i, NODE) + u8(1) + u8(2)  # 8, 9: key
            + u8(3)  # 10: counted interval, ratio present
            + u8(0)  # 11: valid
            + u8(0) + u8(3)  # 12; 13: third byte of the key
            + u16(ratio(i, NODE))  # 14: ratio
            + quadsets(i, NODE, 6))  # 16


def rp_entry(i):
    return (head(i, RP) + u8(4) + u8(5)  # 8, 9: key
            + u8(0) + u8(0)  # 10: full form; 11: valid
            + u8(1) + u8(0)  # 12: ratio present; 13
            + u16(ratio(i, RP))  # 14: ratio
            + quadsets(i, RP, 6))  # 16


def mp_entry(i):
    return (head(i, MP) + u8(6) + u8(7)  # 8, 9: key
            + u8(0) + u8(0)  # 10: full form; 11: valid
            + bytes(2)  # 12
            + u16(ratio(i, MP))  # 14: ratio
            + quadsets(i, MP, 2))  # 16


def dp_entry(i):
    return (head(i, DP) + u8(8) + u8(9)  # 8, 9: key
            + u8(0) + u8(0)  # 10; 11: valid
            + bytes(2)  # 12
            + u16(ratio(i, DP))  # 14: ratio
            + quadsets(i, DP, 2))  # 16


def cache_entry(i, size):
    entry = (head(i, CACHE) + u8(10)  # 8: key
             + u8(0)  # 9: valid
             + u8(1 << i if size == 128 else 0)  # 10: flag byte, a bit for each interval
             + bytes(5)  # 11
             + u16(ratio(i, CACHE))  # 16: first ratio
             + u16(PEAK[i]))  # 18: first maximum
    if size == 32:
        return entry + bytes(12)  # 20
    return (entry + u16(RATIO2[i] + 10 * CACHE)  # 20: second ratio
            + u16(PEAK[i] + 1)  # 22: second maximum
            + u32(RATE[i])  # 24: first rate
            + u32(RATE[i] + 1)  # 28: second rate
            + quadsets(i, CACHE, 6))  # 32


def cheseg_entry(i, second_key=False):
    return (head(i, CHESEG) + u8(11)  # 8: key
            + u8(0) + u8(0)  # 9: full form; 10: valid
            + u8(0)  # 11: flags, bit 7 clear
            + (u8(12) + u8(0) if second_key else  # 12: second key byte, or
               u16(RATIO2[i] + 10 * CHESEG))  # 12: second ratio
            + u16(ratio(i, CHESEG))  # 14: ratio
            + quadsets(i, CHESEG, 5))  # 16


def ld_entry(i, rated=True, marks=0):
    return (head(i, LD) + u16(0x0101)  # 8: logical disk number
            + u8(0) + u8(0)  # 10: full form; 11: valid
            + u8(0)  # 12
            + u8((1 if rated else 0) | marks)  # 13: bit 0 ratio present, 1 sticky, 2 kept mark
            + u16(ratio(i, LD) if rated else 0)  # 14: ratio
            + quadsets(i, LD, 5))  # 16


def idle_ld_entry(i):
    """A logical disk without work, in compact form; its second interval is not valid."""
    return (head(i, LD) + u16(0x0102)  # 8: logical disk number
            + u8(1)  # 10: compact
            + u8(1 if i == 1 else 0)  # 11: not valid in the second interval
            + bytes(2)  # 12; 13: no ratio
            + u16(0))  # 14


def pd_entry(i, old=False):
    entry = (head(i, PD) + u8(13) + u8(14)  # 8, 9: key
             + u8(0) + u8(0)  # 10: full form; 11: valid
             + bytes(4))  # 12
    if not old:
        entry += (u32(0x7000 + i)  # 16: carried word
                  + u16(ratio(i, PD))  # 20: ratio
                  + bytes(10))  # 22
    return entry + quadsets(i, PD, 2)  # 32 (16 in revision 0x10)


def rank_entry(i, sets=2):
    return (head(i, RANK) + u8(15) + u8(16)  # 8, 9: key
            + u8(0) + u8(0)  # 10: full form; 11: valid
            + bytes(4)  # 12
            + u32(0x8000 + i)  # 16: carried word
            + u16(ratio(i, RANK))  # 20: ratio
            + bytes(10)  # 22
            + quadsets(i, RANK, sets))  # 32 (none in revision 0x11)


def pool_entry(i, mark=0):
    return (head(i, POOL) + u16(0x0201)  # 8: pool number
            + u8(0) + u8(0)  # 10: full form; 11: valid
            + u32(0x9000 + i)  # 12: carried word
            + u16(ratio(i, POOL))  # 16: ratio
            + u8(mark) + u8(0)  # 18: bit 0 mark; 19
            + bytes(12)  # 20
            + quadsets(i, POOL, 2))  # 32


def words(*values):
    """Item words behind an entry."""
    return b"".join(u32(value) for value in values)


# --- Optional items ------------------------------------------------------------------------------
def item(i, kind, flag, elements):
    body = b"".join(elements)
    return (u32(256 * kind + i + 1)  # 0: status word
            + u32(LENGTH[i])  # 4: interval length
            + u32(24 + len(body))  # 8: total length
            + u8(kind)  # 12: type
            + u8(flag)  # 13: flag
            + bytes(2)  # 14
            + u16(0x0700 + kind)  # 16: carried
            + u16(len(elements))  # 18: element count
            + u32(24)  # 20: first element
            + body)


def conc_item(i):
    return item(i, 16, 1 << i, [u16(0x0301)  # 0: number
                                + b"concurrent"[:10]  # 2
                                + u8(1)  # 12: present
                                + u8(i) + bytes(2)])  # 13


def ld_cp_item(i):
    """The pair changes in the last interval."""
    return item(i, 32, 0x80, [u32(0x00010002)  # 0: key
                              + b"LDCP" * 6  # 4
                              + u32(2 if i == 3 else 1)])  # 28


def pool_cp_item(i):
    """The pair never changes."""
    return item(i, 48, 0x80, [u32(0x00030004)  # 0: key
                              + b"POOL" * 11])  # 4


def wait_item(i):
    return item(i, 33, 1 << i, [u16(0x0101)  # 0: logical disk number
                                + bytes(14)  # 2
                                + quadset(i, WAIT, 1)])  # 16


def cab_item(i):
    return item(i, 64, 0x80, [u8(2) + u8(0)  # 0: first key byte; 1
                              + u16(0x0304)  # 2: second key
                              + bytes(4)  # 4
                              + u32(CAB[i])  # 8: value
                              + bytes(4)])  # 12


# --- Structure lists -----------------------------------------------------------------------------
def basic_information(byte95=0, byte97=0, conc=0, ld_cp=0, pool_cp=0, cab=0):
    return (b"B" * 95  # 0: uninterpreted
            + u8(byte95)  # 95: 0 ranks, else pools
            + b"B"  # 96
            + u8(byte97)  # 97: 0x20 wait times, 0x80 second key byte of cache segments
            + u16(conc) + u16(ld_cp) + u16(pool_cp) + u16(cab)  # 98 to 105: bit 15 and a count
            + b"b" * 6)  # 106


def port_list(first, second, size=4):
    return u8(first) + u8(second) + b"P" * (size - 2)


HP_LIST = port_list(1, 2)
RP_LIST = port_list(4, 5)
RP_LIST_8 = port_list(4, 5, 8)
MP_LIST = port_list(6, 7, 8)
DP_LIST = port_list(8, 9)
CACHE_LIST = u8(10) + b"C" * 31  # key, uninterpreted
CHESEG_LIST = u8(11) + u8(12) + b"G" * 30  # key, second key byte, uninterpreted
LD_LIST_48 = u16(0x0101) + b"L" * 46 + u16(0x0102) + b"l" * 46  # number, uninterpreted
LD_LIST_64 = (u16(0x0101)  # 0: number
              + b"L" * 50  # 2
              + u32(72)  # 52: length with its variable part
              + b"L" * 8  # 56
              + b"variable"  # 64: variable part
              + u16(0x0102) + b"l" * 50 + u32(64) + b"l" * 8)  # the second, without one
PD_LIST = u8(13) + u8(14) + b"D" * 46  # key, uninterpreted
RANK_LIST = (u32(36)  # 0: length with its variable part
             + u8(15) + u8(16)  # 4, 5: key
             + b"R" * 26  # 6
             + b"rank")  # 32: variable part
POOL_LIST_48 = u16(0x0201) + b"O" * 46  # number, uninterpreted
POOL_LIST_64 = u16(0x0201) + b"O" * 62
HD_LIST = u8(0x21) + b"HHH"
RD_LIST = u8(0x22) + b"RRR"
DD_LIST = u8(0x23) + b"DDD"
LIST_128 = b"L128"
LIST_104 = b"sixteen bytes104"
LIST_144 = b"sixteen bytes144"
TRAILER = b"TAIL"
