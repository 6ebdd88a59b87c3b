"""The corruptions of the mutation runner: what a disk, a truncated transfer
or a tool of another version does to an icode file.

Structural mutations work on an icode_image.Image and decide whether the
references are mended afterwards (a tool that wrote a consistent but odd
file) or left wrong (a file damaged after it was written). Byte mutations
work on the written bytes. Every mutator takes a random.Random and returns
a short description of what it did, or None when the input gave it nothing
to work on.
"""
import struct

import icode_image as ii

# Values that make numbers misbehave: zero, one, sign and width edges.
EXTREMES = (0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF)
INTERESTING_BYTES = (0x00, 0x01, 0x7F, 0x80, 0xFE, 0xFF, 0x40, 0x3F)
# Record ids the reader knows, for a record that turns into another.
KNOWN_IDS = (1, 2, 3, 4, 5, 6, 34, 35, 36, 38, 42, 45, 46, 47, 58, 59, 63, 64, 91, 93, 94, 101, 105, 108, 111,
             116, 123, 124, 125, 126)


def extreme(rng, around=None):
    if around is not None and rng.random() < 0.3:
        return (around + rng.choice((-2, -1, 1, 2, 64, -64))) & 0xFFFFFFFF
    return rng.choice(EXTREMES)


def _pick_record(rng, im, want=None):
    pool = [(s, i, r) for s, i, r in im.all_records() if want is None or want(r)]
    return rng.choice(pool) if pool else None


# ---------------------------------------------------------------------------
# Structural mutations: (rng, image, donors) -> description; they change the
# image in place. `donors` are images of other files, for splicing.

def m_delete_records(rng, im, donors):
    s_i_r = _pick_record(rng, im)
    if not s_i_r:
        return None
    s, i, _ = s_i_r
    n = 1 if rng.random() < 0.7 else rng.randint(2, 8)
    del s.records[i:i + n]
    return "delete %d record(s) at %s[%d]" % (n, s.kind, i)


def m_delete_function(rng, im, donors):
    funcs = im.functions()
    if not funcs:
        return None
    s, a, b = rng.choice(funcs)
    if rng.random() < 0.5:
        del s.records[a:b + 1]
        return "delete the function at %s[%d]" % (s.kind, a)
    # Only its end, or only its start: the next function runs into it.
    k = rng.choice((a, b))
    rid = s.records[k].id
    del s.records[k]
    return "delete record %d of the function at %s[%d]" % (rid, s.kind, a)


def m_duplicate_records(rng, im, donors):
    s_i_r = _pick_record(rng, im)
    if not s_i_r:
        return None
    s, i, _ = s_i_r
    n = 1 if rng.random() < 0.7 else rng.randint(2, 8)
    copies = [r.copy() for r in s.records[i:i + n]]
    target = rng.choice(im.sections)
    at = rng.randint(0, len(target.records))
    target.records[at:at] = copies
    return "copy %d record(s) of %s[%d] to %s[%d]" % (len(copies), s.kind, i, target.kind, at)


def m_duplicate_function(rng, im, donors):
    funcs = im.functions()
    if not funcs:
        return None
    s, a, b = rng.choice(funcs)
    copies = [r.copy() for r in s.records[a:b + 1]]
    target = s if rng.random() < 0.8 else rng.choice(im.sections)
    bounds = [0] + [e + 1 for _, _, e in im.functions(target)] if target is s else [0, len(target.records)]
    at = rng.choice(bounds)
    target.records[at:at] = copies
    return "copy the function at %s[%d] to %s[%d]" % (s.kind, a, target.kind, at)


def m_swap_records(rng, im, donors):
    s = rng.choice(im.sections)
    if len(s.records) < 2:
        return None
    i, j = rng.sample(range(len(s.records)), 2)
    s.records[i], s.records[j] = s.records[j], s.records[i]
    return "swap %s[%d] and [%d]" % (s.kind, i, j)


def m_swap_functions(rng, im, donors):
    funcs = im.functions(im.section("func"))
    if len(funcs) < 2:
        return None
    (s, a1, b1), (_, a2, b2) = sorted(rng.sample(funcs, 2), key=lambda f: f[1])
    recs = s.records
    s.records = recs[:a1] + recs[a2:b2 + 1] + recs[b1 + 1:a2] + recs[a1:b1 + 1] + recs[b2 + 1:]
    return "swap the functions at func[%d] and [%d]" % (a1, a2)


def m_swap_sections(rng, im, donors):
    if len(im.sections) < 2:
        return None
    i, j = rng.sample(range(len(im.sections)), 2)
    im.sections[i], im.sections[j] = im.sections[j], im.sections[i]
    return "swap the sections %s and %s" % (im.sections[j].kind, im.sections[i].kind)


def m_move_record(rng, im, donors):
    s_i_r = _pick_record(rng, im)
    if not s_i_r or len(im.sections) < 2:
        return None
    s, i, r = s_i_r
    del s.records[i]
    target = rng.choice([t for t in im.sections if t is not s])
    at = rng.randint(0, len(target.records))
    target.records.insert(at, r)
    return "move %s[%d] (id %d) to %s[%d]" % (s.kind, i, r.id, target.kind, at)


def m_change_id(rng, im, donors):
    s_i_r = _pick_record(rng, im)
    if not s_i_r:
        return None
    s, i, _ = s_i_r
    r = im.own(s, i)
    old = r.id
    r.id = rng.choice(KNOWN_IDS) if rng.random() < 0.85 else rng.randrange(256)
    if r.id != ii.SYMBOL:
        r.fileoff = None
    elif r.fileoff is None:
        r.fileoff = ii.split_symbol(r.body)
    return "record %s[%d] id %d -> %d" % (s.kind, i, old, r.id)


def _varint_starts(body):
    starts = [0]
    for k in range(1, len(body)):
        if not body[k - 1] & 0x80:
            starts.append(k)
    return starts


def m_body_number(rng, im, donors):
    """A number in a body takes an extreme value, with the record's length
    mended: the framing holds and the reader meets the value itself."""
    s_i_r = _pick_record(rng, im, lambda r: len(r.body) > 0)
    if not s_i_r:
        return None
    s, i, _ = s_i_r
    r = im.own(s, i)
    body = r.body
    at = rng.choice(_varint_starts(body))
    try:
        old, end = ii.read_uint(body, at)
    except ii.BadImage:
        old, end = body[at], at + 1
    new = extreme(rng, old)
    enc = ii.uint(new) if rng.random() < 0.8 else struct.pack("<I", new)
    r.set_body(body[:at] + enc + body[end:])
    return "number at %s[%d]+%d: %d -> %d" % (s.kind, i, at, old, new)


def m_body_bytes(rng, im, donors):
    """A body cut short, grown, or with bytes changed, framing mended."""
    s_i_r = _pick_record(rng, im)
    if not s_i_r:
        return None
    s, i, _ = s_i_r
    r = im.own(s, i)
    body = bytearray(r.body)
    how = rng.randrange(3)
    if how == 0 and body:
        cut = rng.randrange(len(body))
        r.set_body(body[:cut])
        return "body of %s[%d] cut to %d of %d bytes" % (s.kind, i, cut, len(body))
    if how == 1:
        extra = bytes(rng.choice(INTERESTING_BYTES) for _ in range(rng.randint(1, 8)))
        at = rng.randint(0, len(body))
        r.set_body(body[:at] + extra + body[at:])
        return "body of %s[%d] grows by %d bytes at %d" % (s.kind, i, len(extra), at)
    if not body:
        return None
    for _ in range(rng.randint(1, 3)):
        body[rng.randrange(len(body))] = rng.choice(INTERESTING_BYTES) if rng.random() < 0.5 else rng.randrange(256)
    r.set_body(body)
    return "bytes of the body of %s[%d] changed" % (s.kind, i)


def m_symbol_file_offset(rng, im, donors):
    """A symbol's file offset names another place: another function, the
    middle of one, another section, nothing, or past the end."""
    s_i_r = _pick_record(rng, im, lambda r: r.fileoff is not None)
    if not s_i_r:
        return None
    s, i, _ = s_i_r
    r = im.own(s, i)
    before, old, after = r.fileoff
    keys = [x.key for _, _, x in im.all_records() if x.key is not None]
    begins = [x.key for _, _, x in im.all_records() if x.key is not None and x.id == ii.BEGIN_FUNC]
    how = rng.randrange(5)
    if how == 0 and begins:
        new = rng.choice(begins)
    elif how == 1 and keys:
        new = rng.choice(keys)
    elif how == 2:
        new = 0
    elif how == 3 and keys:
        new = rng.choice(keys) + rng.randint(1, 3)  # inside a record
    else:
        new = extreme(rng, old)
    r.fileoff = (before, new, after)
    return "file offset of symbol %s[%d]: %d -> %d" % (s.kind, i, old, new)


def m_header_offset(rng, im, donors):
    kind = rng.choice(ii.SECTION_KINDS)
    keys = [x.key for _, _, x in im.all_records() if x.key is not None]
    starts = [s.key for s in im.sections if s.key is not None]
    how = rng.randrange(4)
    if how == 0 and starts:
        new = rng.choice(starts)
    elif how == 1 and keys:
        new = rng.choice(keys) + rng.choice((0, 0, 1, 2))
    elif how == 2:
        new = 0
    else:
        new = extreme(rng, im.read_offsets.get(kind, 0))
    im.offsets[kind] = new
    return "header offset of %s -> %d" % (kind, new)


def m_version(rng, im, donors):
    """Another tool version: the fields that came and went over the
    versions are read where they are not, or missed where they are."""
    old = im.version
    if rng.random() < 0.9:
        im.version = rng.randint(-86, -73)
    else:
        im.version = rng.choice((-87, -72, 0, -1, 32767, -32768))
    if rng.random() < 0.5:
        # The header written as that version would write it.
        had_extra = old >= -83
        wants_extra = im.version >= -83
        if had_extra and not wants_extra:
            im.header_rest = im.header_rest[4:]
        elif wants_extra and not had_extra:
            im.header_rest = b"\0\0\0\0" + im.header_rest
    return "version %d -> %d" % (old, im.version)


def m_splice(rng, im, donors):
    """A function or records of another file, at a record boundary of this
    one: symbol and type numbers that mean other things here."""
    donor = rng.choice(donors) if donors else None
    if donor is None or not donor.sections:
        return None
    funcs = donor.functions()
    if funcs and rng.random() < 0.7:
        s, a, b = rng.choice(funcs)
        piece = [r.copy() for r in s.records[a:b + 1]]
    else:
        s = rng.choice(donor.sections)
        if not s.records:
            return None
        a = rng.randrange(len(s.records))
        piece = [r.copy() for r in s.records[a:a + rng.randint(1, 6)]]
    for r in piece:
        r.key = None  # the donor's offsets mean nothing here
        if r.fileoff is not None:
            r.fileoff = None
    target = im.section(s.kind) or rng.choice(im.sections) if im.sections else None
    if target is None:
        return None
    at = rng.randint(0, len(target.records))
    target.records[at:at] = piece
    return "splice %d record(s) of another file into %s[%d]" % (len(piece), target.kind, at)


STRUCTURAL = (
    m_delete_records, m_delete_function, m_duplicate_records, m_duplicate_function, m_swap_records,
    m_swap_functions, m_swap_sections, m_move_record, m_change_id, m_body_number, m_body_number, m_body_bytes,
    m_symbol_file_offset, m_symbol_file_offset, m_header_offset, m_version, m_splice,
)


# ---------------------------------------------------------------------------
# Byte mutations: (rng, bytearray) -> description; in place.

def b_flip_bits(rng, data):
    if not data:
        return None
    n = rng.choice((1, 1, 2, 3, 8))
    for _ in range(n):
        k = rng.randrange(len(data) * 8)
        data[k >> 3] ^= 1 << (k & 7)
    return "flip %d bit(s)" % n


def b_set_bytes(rng, data):
    if not data:
        return None
    n = rng.randint(1, 4)
    for _ in range(n):
        data[rng.randrange(len(data))] = rng.choice(INTERESTING_BYTES)
    return "set %d byte(s)" % n


def b_truncate(rng, data):
    if len(data) < 2:
        return None
    cut = rng.randrange(1, len(data))
    del data[cut:]
    return "truncate to %d bytes" % cut


def b_delete_slice(rng, data):
    if len(data) < 2:
        return None
    at = rng.randrange(len(data))
    n = rng.randint(1, max(1, min(256, len(data) // 4)))
    del data[at:at + n]
    return "delete %d byte(s) at %d" % (n, at)


def b_duplicate_slice(rng, data):
    if not data:
        return None
    at = rng.randrange(len(data))
    n = rng.randint(1, max(1, min(512, len(data) // 2)))
    piece = data[at:at + n]
    to = rng.randint(0, len(data))
    data[to:to] = piece
    return "copy %d byte(s) from %d to %d" % (len(piece), at, to)


def b_u32(rng, data):
    """An extreme little-endian word anywhere: an offset of the header, a
    value of a fixed-width field, or the middle of something else."""
    if len(data) < 4:
        return None
    # The header's five offsets stand at fixed places; aim there half the time.
    at = 16 + 4 * rng.randrange(5) if rng.random() < 0.5 and len(data) > 36 else rng.randrange(len(data) - 3)
    data[at:at + 4] = struct.pack("<I", extreme(rng, len(data)))
    return "word at %d made extreme" % at


def b_swap_slices(rng, data):
    if len(data) < 8:
        return None
    a, b = sorted(rng.sample(range(len(data)), 2))
    n = rng.randint(1, max(1, min(b - a, 256)))
    if a + n > b:
        return None
    x, y = bytes(data[a:a + n]), bytes(data[b:b + n])
    data[b:b + len(y)] = x[:len(y)]
    data[a:a + n] = y + x[len(y):]
    return "swap %d byte(s) at %d and %d" % (n, a, b)


BYTEWISE = (b_flip_bits, b_flip_bits, b_set_bytes, b_truncate, b_delete_slice, b_duplicate_slice, b_u32,
            b_swap_slices)


def corrupt(rng, seed_bytes, seed_image, donors):
    """A corrupted copy of one seed file: (bytes, [descriptions])."""
    done = []
    if seed_image is not None and rng.random() < 0.7:
        im = seed_image.copy()
        for _ in range(rng.choice((1, 1, 1, 2, 3))):
            what = rng.choice(STRUCTURAL)(rng, im, donors)
            if what:
                done.append(what)
        fix = rng.random() < 0.75
        data = bytearray(im.to_bytes(fix_references=fix))
        if not fix:
            done.append("references left as they were")
        passes = rng.choice((0, 0, 0, 1))
    else:
        data = bytearray(seed_bytes)
        passes = rng.choice((1, 1, 2, 3))
    for _ in range(passes):
        what = rng.choice(BYTEWISE)(rng, data)
        if what:
            done.append(what)
    if not done:
        what = b_flip_bits(rng, data)
        if what:
            done.append(what)
    return bytes(data), done
