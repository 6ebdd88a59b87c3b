"""An icode file as the mutation runner sees it: the header, the sections
as lists of framed records, and the references between them (the header's
section offsets, the file offsets in symbol records), so that a record can
be deleted, copied or moved and the file written again with every
reference still right, or, when a mutation wants it, left wrong.

Only the framing is decoded: a record is an id and a body of bytes. The
symbol record is decoded as far as its file offset.
"""
import struct

MAGIC = b"!<icode>\n\0"
EOF = 255
SECTION_KINDS = ("options", "init", "types", "files", "globals")  # header order
BEGIN_FUNC, END_FUNC, SYMBOL = 1, 2, 35


class BadImage(Exception):
    pass


def read_uint(data, pos, end=None):
    """(value, next position) of a base-128 number."""
    end = len(data) if end is None else end
    value = shift = 0
    while True:
        if pos >= end or shift > 28:
            raise BadImage("uint at %d" % pos)
        b = data[pos]
        pos += 1
        value |= (b & 0x7F) << shift
        shift += 7
        if not b & 0x80:
            return value & 0xFFFFFFFF, pos


def uint(value):
    value &= 0xFFFFFFFF
    out = bytearray()
    while value > 0x7F:
        out.append(value & 0x7F | 0x80)
        value >>= 7
    out.append(value)
    return bytes(out)


class Record:
    __slots__ = ("id", "body", "key", "fileoff", "_raw")

    def __init__(self, rid, body, key=None):
        self.id = rid
        self.body = bytes(body)
        self.key = key  # offset in the file it was read from
        # A symbol record: (bytes before, value, bytes after) of its file offset.
        self.fileoff = None
        self._raw = None

    def copy(self):
        r = Record(self.id, self.body, self.key)
        r.fileoff = self.fileoff
        return r

    def set_body(self, body):
        self.body = bytes(body)
        self.fileoff = None
        self._raw = None

    def raw(self, fileoff=None):
        """The record as it stands in a file, with this file offset."""
        if fileoff is None or self.fileoff is None:
            if self._raw is None or self._raw[0] != self.id:
                self._raw = bytes([self.id]) + uint(len(self.body)) + self.body
            return self._raw
        before, _, after = self.fileoff
        body = before + uint(fileoff) + after
        return bytes([self.id]) + uint(len(body)) + body


def split_symbol(body):
    """The symbol record's fields around its file offset, or None."""
    try:
        pos = body.index(0) + 1  # name
        _, pos = read_uint(body, pos)  # size
        _, pos = read_uint(body, pos)  # offset
        pos += 1 + 2  # storage class, qualifier
        _, pos = read_uint(body, pos)  # type
        _, pos = read_uint(body, pos)  # second type
        _, pos = read_uint(body, pos)  # align
        pos += 1  # pragma count
        start = pos
        value, pos = read_uint(body, pos)
        if pos > len(body):
            return None
        return body[:start], value, body[pos:]
    except (ValueError, BadImage):
        return None


class Section:
    __slots__ = ("kind", "records", "ended", "key")

    def __init__(self, kind, records, ended, key):
        self.kind, self.records, self.ended, self.key = kind, records, ended, key

    def copy(self):
        # The records are shared: a mutation that changes one puts a copy in
        # its place (Image.own).
        return Section(self.kind, list(self.records), self.ended, self.key)


class Image:
    """header fields, sections in file order, bytes behind them."""

    def __init__(self):
        self.version = -73
        self.cpu = 1000
        self.offsets = {}  # kind -> number to write instead of the section's place
        self.read_offsets = {}  # kind -> the number the file held
        self.source = b""
        self.header_rest = b""  # the extra word and anything behind it
        self.sections = []
        self.tail = b""

    def copy(self):
        im = Image()
        im.version, im.cpu, im.source, im.header_rest, im.tail = (
            self.version, self.cpu, self.source, self.header_rest, self.tail)
        im.offsets = dict(self.offsets)
        im.read_offsets = dict(self.read_offsets)
        im.sections = [s.copy() for s in self.sections]
        return im

    def own(self, section, index):
        """The record at section[index], made this image's own to change."""
        r = section.records[index].copy()
        section.records[index] = r
        return r

    def section(self, kind):
        for s in self.sections:
            if s.kind == kind:
                return s
        return None

    def all_records(self):
        for s in self.sections:
            for i, r in enumerate(s.records):
                yield s, i, r

    def functions(self, section=None):
        """(section, first, last) index ranges of each function, begin to end."""
        out = []
        for s in [section] if section else self.sections:
            start = None
            for i, r in enumerate(s.records):
                if r.id == BEGIN_FUNC:
                    start = i
                elif r.id == END_FUNC and start is not None:
                    out.append((s, start, i))
                    start = None
        return out

    # ---- writing

    def _header(self, offsets):
        body = MAGIC + struct.pack("<hh", self.version, self.cpu)
        body += struct.pack("<5I", *[offsets.get(k, 0) & 0xFFFFFFFF for k in SECTION_KINDS])
        body += self.source + b"\0" + self.header_rest
        return bytes([8]) + uint(len(body)) + body

    def to_bytes(self, fix_references=True):
        """The file. With fix_references, the header's offsets name the
        sections where they now stand and symbol file offsets follow the
        records they named; otherwise both keep the numbers they had."""
        moved = {}
        places = {}
        out = b""
        for _ in range(6):  # file offsets change lengths; settle in a few rounds
            if fix_references:
                where = {s.kind: places.get(id(s), 0) for s in self.sections if s.kind != "func"}
            else:
                where = dict(self.read_offsets)
            header = self._header({**where, **self.offsets})
            chunks = [header]
            pos = len(header)
            new_moved, new_places = {}, {}
            for s in self.sections:
                new_places[id(s)] = pos
                for r in s.records:
                    if r.key is not None and r.key not in new_moved:
                        new_moved[r.key] = pos
                    if r.fileoff is not None:
                        value = r.fileoff[1]
                        if fix_references:
                            value = moved.get(value, value)
                        rec = r.raw(value)
                    else:
                        rec = r.raw()
                    chunks.append(rec)
                    pos += len(rec)
                if s.ended:
                    chunks.append(bytes([EOF]))
                    pos += 1
            chunks.append(self.tail)
            out = b"".join(chunks)
            if not fix_references or (new_moved == moved and new_places == places):
                break
            moved, places = new_moved, new_places
        return out


def _read_section(data, pos, kind, limit):
    """Records from pos up to a 255; (records, ended, end position)."""
    records = []
    while pos < len(data):
        rid = data[pos]
        if rid == EOF:
            return records, True, pos + 1
        length, body = read_uint(data, pos + 1)
        if body + length > len(data):
            raise BadImage("record at %d runs past the end" % pos)
        r = Record(rid, data[body:body + length], pos)
        if rid == SYMBOL:
            r.fileoff = split_symbol(r.body)
        records.append(r)
        pos = body + length
        if len(records) > limit:
            raise BadImage("too many records")
    raise BadImage("section %s has no end" % kind)


def parse(data, limit=1000000):
    """The image of a well-framed icode file; BadImage otherwise."""
    if not data or data[0] != 8:
        raise BadImage("no header")
    length, body = read_uint(data, 1)
    hdr = data[body:body + length]
    if len(hdr) < len(MAGIC) + 24 or not hdr.startswith(MAGIC):
        raise BadImage("no magic")
    im = Image()
    im.version, im.cpu = struct.unpack_from("<hh", hdr, len(MAGIC))
    offs = struct.unpack_from("<5I", hdr, len(MAGIC) + 4)
    im.read_offsets = dict(zip(SECTION_KINDS, offs))
    rest = hdr[len(MAGIC) + 24:]
    if 0 not in rest:
        raise BadImage("no source name")
    im.source = rest[:rest.index(0)]
    im.header_rest = rest[rest.index(0) + 1:]
    starts = [("func", body + length)] + [(k, o) for k, o in zip(SECTION_KINDS, offs) if o]
    starts.sort(key=lambda x: x[1])
    end = 0
    for kind, at in starts:
        if at < end or at >= len(data):
            raise BadImage("section %s at %d overlaps or lies outside" % (kind, at))
        records, ended, end = _read_section(data, at, kind, limit)
        im.sections.append(Section(kind, records, ended, at))
    im.tail = data[end:]
    return im
