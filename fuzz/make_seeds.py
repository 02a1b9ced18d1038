#!/usr/bin/env python3
"""Writes the seed corpora under fuzz/corpus/<target>/: the project's own test
PPDs (tests/data, samples) for the parser, and hand-made inputs for the ways
PPD readers are known to fail. Several seeds hold bytes an editor would mangle
(NUL, CR, 0xFF), hence this script. Run from anywhere; the output is checked
in. Seeds are inputs to start from, not tests: nothing checks their outcome.

The settings fuzzer also starts from model snapshots of the project's PPDs,
which only our own code can write: pass --snapshot-tool with the path of
kelvo-snapshot-seeds (built with the fuzzers, e.g.
build-fuzz/fuzz/kelvo-snapshot-seeds) to write them again. Without it the
snapshot seeds already checked in are kept as they are."""

import argparse
import gzip
import pathlib
import shutil
import struct
import subprocess
import tempfile

FUZZ = pathlib.Path(__file__).resolve().parent
ROOT = FUZZ.parent
CORPUS = FUZZ / "corpus"

HEADER = (
    b'*PPD-Adobe: "4.3"\n'
    b'*FormatVersion: "4.3"\n'
    b'*FileVersion: "1.0"\n'
    b"*LanguageVersion: English\n"
    b"*LanguageEncoding: ISOLatin1\n"
    b'*PCFileName: "KVSEED.PPD"\n'
    b'*ModelName: "Kelvo Seed"\n'
    b'*%QJVPropPage QJPage/Page: "True"\n'
    b'*%QJVGroupName QJPane/Pane: "True"\n'
    b'*%QJVGroupName QJGroup/Options: "True"\n'
    b'*%QJVParent QJPane/QJPage: "True|Scrollpane"\n'
    b'*%QJVParent QJGroup/QJPane: "True|Rolldown"\n'
)


def popup(key, choices, default=b"None", kind=b"PickOne"):
    bare = key[1:]
    text = b"*%QJVFlags " + key + b': "Dynamic"\n*%QJVGroup ' + key + b": QJGroup\n"
    text += b"*OpenUI " + key + b"/" + bare + b": " + kind + b"\n*Default" + bare + b": " + default + b"\n"
    for choice in choices:
        text += key + b" " + choice + b"/" + choice + b': "/' + bare + b" (" + choice + b') def"\n'
    return text + b"*CloseUI: " + key + b"\n"


def flagged(key, line):
    return b"*%QJVFlags " + key + b': ""\n*%QJVGroup ' + key + b": QJGroup\n" + line + b"\n"


STAPLE = popup(b"*QJStaple", [b"None", b"TopLeft", b"Saddle"])

PARSE_SEEDS = {
    # Strings that never close: a header value, PostScript ending in a
    # backslash at the end of the file, code running into the next statement.
    "unterminated-header-quote": HEADER.replace(b'"Kelvo Seed"', b'"Kelvo Seed') + STAPLE,
    "unterminated-ps-backslash": HEADER
    + b'*%QJVFlags *QJPunch: ""\n*%QJVGroup *QJPunch: QJGroup\n*OpenUI *QJPunch/Punch: PickOne\n'
    + b'*DefaultQJPunch: None\n*QJPunch None/Off: "<</Punch 0>> \\',
    "ps-runs-into-statement": HEADER
    + b'*%QJVFlags *QJPunch: ""\n*%QJVGroup *QJPunch: QJGroup\n*OpenUI *QJPunch/Punch: PickOne\n'
    + b'*DefaultQJPunch: None\n*QJPunch None/Off: "<</Punch 0>>\n*%  more code\n*QJPunch Two/Two: "x"\n'
    + b"*CloseUI: *QJPunch\n"
    + STAPLE,
    "unterminated-default-note": HEADER
    + flagged(b"*QJAcct", b"*%QJVJobNote *QJAcct/Account: 16|Numeric")
    + b'*%DefaultQJAcct: "12\\\n34\n',
    # Block structure out of order.
    "closeui-without-openui": HEADER + b"*CloseUI: *QJStaple\n*QJCloseUI: *QJFold\n*EndUI\n" + STAPLE,
    "openui-never-closed": HEADER
    + b'*%QJVFlags *QJFold: ""\n*%QJVGroup *QJFold: QJGroup\n*OpenUI *QJFold/Fold: PickOne\n'
    + b'*DefaultQJFold: None\n*QJFold None/Off: ""\n',
    "openuiqjv-never-closed": HEADER + b'*%QJVFlags *QJOther: ""\n*OpenUIQJV *QJOther/Other: PickOne\n*QJOther A/A: ""\n',
    # One key declared twice with different types.
    "pickone-then-boolean": HEADER
    + STAPLE
    + popup(b"*QJStaple", [b"True", b"False"], b"True", b"Boolean"),
    "popup-then-range": HEADER + STAPLE + flagged(b"*QJStaple", b'*%QJVRange *QJStaple/Staple: (0;10;1;5) "<*QJStaple>"'),
    "range-then-note-then-popup": HEADER
    + flagged(b"*QJCopies", b'*%QJVRange *QJCopies/Copies: (1;99;1;1) "/N <*QJCopies> def"')
    + flagged(b"*QJCopies", b"*%QJVJobNote *QJCopies/Copies: 4|Numeric")
    + popup(b"*QJCopies", [b"One", b"Two"], b"One"),
    # Translations with control bytes, 8-bit bytes and broken hex runs.
    "control-bytes-in-translations": HEADER
    + popup(b"*QJTray", [b"A", b"B"], b"A").replace(b"/A:", b"/\x01\x1b[2J\x7f\x08:").replace(b"/B:", b"/\t\x0b\x0c:"),
    "hex-odd-digits": HEADER
    + b'*%QJVFlags *QJTray: ""\n*%QJVGroup *QJTray: QJGroup\n*OpenUI *QJTray/T<52 6>ay: PickOne\n*DefaultQJTray: A\n'
    + b'*QJTray A/<414>: ""\n*QJTray B/<4 1 42>: ""\n*QJTray C/<zz>: ""\n*QJTray D/<00>hidden: ""\n'
    + b'*QJTray E/open <41: ""\n*QJTray F/<C3A9><E9><8140>: ""\n*CloseUI: *QJTray\n',
    # Numbers the range readers must survive.
    "range-extremes": HEADER
    + flagged(b"*QJA", b'*%QJVRange *QJA/A: (-9223372036854775808;9223372036854775807;-1;99999999999999999999) "<*QJA>"')
    + flagged(b"*QJB", b'*%QJVRange *QJB/B: (5;-5;0;0) "<*QJB>"')
    + flagged(b"*QJC", b'*%QJVUnitRange *QJC/C: (10;20;-3;15) "<*QJC>"')
    + flagged(b"*QJD", b'*%QJVFloatRange *QJD/D: (1e39;-1e39;0;nan) "<*QJD>"')
    + flagged(b"*QJE", b'*%QJVFloatRange *QJE/E: (-0.0;1e-45;1e-45;inf) "<*QJE>"')
    + b"*%ParamCustomPrintSize Width: 1 points 1e39 -1e39\n*%ParamCustomPrintSize Height: 2 points nan inf\n",
    "range-missing-fields": HEADER
    + flagged(b"*QJA", b'*%QJVRange *QJA/A: (1;2) "<*QJA>"')
    + flagged(b"*QJB", b"*%QJVRange *QJB/B: 1;2;3;4")
    + flagged(b"*QJC", b"*%QJVRange *QJC/C: (;;;)"),
    "job-notes": HEADER
    + flagged(b"*QJAcct", b"*%QJVJobNote *QJAcct/Account: 99999999999999999999|MinLength|MinLength7x|MinLengthx|PopupJN|UTF8")
    + b"*QJAcct: \"%%Account: (<*QJAcct>)\"\n"
    + b"*%QJVJobNote *Notes1/Notes: -5|Resume|Member\n*%DefaultNotes1: \"a\\\\b\"\n",
    # Physical line handling.
    "long-lines": HEADER
    + b"*% " + b"x" * 300 + b"\n"
    + STAPLE,
    "long-ps-continuation": HEADER
    + b'*%QJVFlags *QJPunch: ""\n*%QJVGroup *QJPunch: QJGroup\n*OpenUI *QJPunch/Punch: PickOne\n'
    + b'*DefaultQJPunch: None\n*QJPunch None/Off: "\n'
    + (b"y" * 250 + b"\n") * 20
    + b'"\n*CloseUI: *QJPunch\n',
    "missing-final-newline": HEADER + STAPLE.rstrip(b"\n"),
    "nul-bytes": HEADER.replace(b"Kelvo Seed", b"Kelvo\x00Seed") + STAPLE.replace(b"TopLeft/", b"Top\x00Left/"),
    "cr-only": (HEADER + STAPLE).replace(b"\n", b"\r"),
    "mixed-line-ends": (HEADER + STAPLE).replace(b"\n", b"\r\n", 5).replace(b"\n*QJStaple", b"\r\r*QJStaple"),
    "ff-byte": HEADER + b"*% \xff\n" + STAPLE,
    "empty": b"",
    "first-line-only": b'*PPD-Adobe: "4.3',
    # Groups, parents and shortcuts that point nowhere or at each other.
    "parents-and-shortcuts": HEADER
    + b'*%QJVParent QJPage/QJPane: "True|Rolldown"\n*%QJVParent QJGroup/QJGroup: "True|Scrollpane"\n'
    + b'*%QJVParent Nowhere/QJPage: "True|Rolldown"\n*%QJShortcut: *Missing\n*%QJShortcut: *QJStaple\n'
    + b"*OpenGroup: InstallableOptions/Installed\n"
    + b'*%QJVFlags *QJHCI: ""\n*OpenUI *QJHCI/HCI: Boolean\n*DefaultQJHCI: False\n*QJHCI True/Yes: ""\n*CloseUI: *QJHCI\n'
    + STAPLE
    + b"*%QJVSpecialOption *QJModel: CX 900\n*%QJVSpecialOption *QJ_PROP_WATERMARK: x\n",
    "constraints": HEADER
    + STAPLE
    + popup(b"*PageSize", [b"Letter", b"Legal"], b"Letter")
    + b"*UIConstraints: *QJStaple Saddle *PageSize Legal\n*UIConstraints: *QJStaple\n"
    + b"*%QJVUIRequires: *PageSize *QJStaple\n*%QJVUIConstraints: *QJStaple *PageSize\n",
}

TEXT_SEEDS = {
    # byte 0: encoding name (low nibble) and target encoding (high nibble);
    # byte 1: language, buffer size and job-note language bits.
    "latin1-hex": b"\x00\x00Caf<E9> au lait",
    "latin2": b"\x01\x01\xa3\xf3d\xbc",
    "latin5": b"\x02\x02\xdd\xfe<DD>",
    "sjis": b"\x03\x05\x93\xfa\x96\x7b<8140><82A0>",
    "sjis-odd-tail": b"\x03\x85\x93\xfa\x96",
    "macroman": b"\x04\x00\x8e\xa5<A5>",
    "windows": b"\x05\x00\x80\x93quoted\x94",
    "utf8": b"\x06\x00\xc3\xa9t\xc3\xa9 <C3A9>",
    "utf8-broken": b"\x06\x00\xc3\x28\xe2\x82\xff",
    "unknown": b"\x07\x00plain <41>",
    "null-name": b"\x08\x00plain <41>",
    "hex-odd-digits": b"\x00\x00<414>",
    "hex-spaces": b"\x00\x00< 41\t42\n43\r44 >",
    "hex-unclosed": b"\x00\x00a<41",
    "hex-not-hex": b"\x00\x00<4G>",
    "hex-nul": b"\x00\x00before<00>after",
    "hex-nested": b"\x00\x00<<41>>",
    "hex-only": b"\x00\x00<>",
    "tiny-buffer": b"\x10\x04<E9E9E9>",
    "to-utf16": b"\x60\x00abc<E9>",
    "to-sjis": b"\x50\x00<82A0>\xe9",
}

CONSTRAINT_SEEDS = {
    "pairs": b"*QJStaple Saddle *PageSize Legal\n*PageSize Legal *QJStaple Saddle\n?*PageSize Legal\n",
    "whole-keys": b"*QJBooklet True *QJStaple\n*QJStaple *QJBooklet True\n?*QJBooklet True\n",
    "chain": b"*QJBooklet True *QJStaple TopLeft\n*QJStaple Saddle *PageSize Legal\n=*PageSize Legal\n"
    b"=*QJStaple TopLeft\n?!*QJBooklet True\n",
    "locked": b"*QJDuplex DuplexTumble *QJStaple\n=*QJStaple TopLeft\n#*QJStaple\n?*QJDuplex DuplexTumble\n",
    "printsize": b"*QJDuplex DuplexNoTumble *QJPrintSize A4\n=*PageSize A4\n?*QJDuplex DuplexNoTumble\n",
    "requires": b"*%QJVUIRequires: *QJBooklet True *QJStaple Saddle\n*NonUIConstraints: *QJPunch True *QJInsert Back\n",
    "everything-excludes": b"".join(
        b"*" + a + b" *" + b + b"\n"
        for a in (b"PageSize", b"QJStaple", b"QJDuplex", b"QJInsert")
        for b in (b"QJPrintSize", b"QJBooklet", b"QJPunch")
    )
    + b"?*PageSize A3 *QJStaple Saddle\n?!*QJDuplex DuplexTumble\n",
    "unknown-names": b"*Nope A *QJStaple Saddle\n*QJStaple\n*QJStaple Saddle\n?*Nope A\n?*QJStaple Nope\n#*Nope\n",
    "self": b"*QJStaple Saddle *QJStaple Saddle\n*QJStaple *QJStaple\n?*QJStaple Saddle\n",
}


def write(target, seeds):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    for name, data in seeds.items():
        (folder / name).write_bytes(data)


def settings_block(items, order="<", version=1):
    """A flattened settings block (docs/settings-format.md) as a writer of
    byte order `order` ("<" little, ">" big) lays it down. Each item is
    (tag, id, attributes, value); tags may be four-character byte strings.
    Values are bytes already in the writer's order."""
    body = b""
    for tag, ident, attributes, value in items:
        if isinstance(tag, bytes):
            tag = int.from_bytes(tag, "big")
        body += struct.pack(order + "IiII", tag, ident, attributes, len(value))
        body += value + b"\0" * ((4 - len(value) % 4) % 4)
    mark = b"\xfe\xff" if order == ">" else b"\xff\xfe"
    return b"KVST" + mark + struct.pack(order + "HII", version, len(items), len(body)) + body


def write_settings_seeds():
    """Seeds for settings_fuzzer: stores in both byte orders with the
    page-count item, numbers of the sizes the byte-order rule turns, text
    and 16-bit Unicode items, a locked item, and blocks cut or damaged."""
    seeds = {}
    for order, name in (("<", "little"), (">", "big")):
        utf16 = (b"\xff\xfe" + "Seite \u00fc".encode("utf-16-le")) if order == "<" else (
            b"\xfe\xff" + "Seite \u00fc".encode("utf-16-be"))
        model = [
            (1000, 1001, 0, struct.pack(order + "i", 1024)),
            (1000, 1008, 0, b"Kelvo Seed"),
            (1000, 1003, 0, b""),
            (3000, 3002, 0, struct.pack(order + "Q", 1)),
            (b"KyWd", 3001, 0, b"QJPage"),
            (b"LcCF", 3001, 0, utf16),
            (b"isVs", 3001, 0, struct.pack(order + "i", 1)),
            (5000, 5002, 0, struct.pack(order + "Q", 1)),
            (b"Ordr", 5001, 1, struct.pack(order + "h", -2)),
            (b"PopC", 5001, 0, b"\x01"),
            (b"PCIC", 5001, 0, struct.pack(order + "Q", 2)),
            (b"PCIK", 500100, 0, b"None"),
            (b"PCIS", 500100, 0, struct.pack(order + "i", 1)),
            (b"jNtT", 5001, 0, struct.pack(order + "hI", 3, 7) + bytes(range(64))),
        ]
        seeds["model-" + name] = settings_block(model, order)
        seeds["foreign-count-10001-" + name] = settings_block(
            [(3000, 3002, 0, struct.pack(order + "Q", 10001)), (1, 1, 0, b"\x01\x02")], order)
    little = seeds["model-little"]
    seeds["empty-store"] = settings_block([])
    seeds["cut"] = little[: len(little) // 2]
    seeds["version-2"] = settings_block([(1, 1, 0, b"x")], version=2)
    seeds["repeated-address"] = settings_block([(1, 1, 0, b"a"), (1, 1, 0, b"b")])
    seeds["bad-utf16"] = settings_block([(b"LcCF", 1, 0, b"\xfe\xff\xd8\x00\x00A"), (b"LcCF", 2, 0, b"\x00A\x00")])
    write("settings_fuzzer", seeds)


def read_block(block):
    """The items of a flattened block written in little-endian order, as
    settings_block takes them."""
    _, _, _, count, _ = struct.unpack_from("<4s2sHII", block)
    items, offset = [], 16
    for _ in range(count):
        tag, ident, attributes, length = struct.unpack_from("<IiII", block, offset)
        offset += 16
        items.append((tag, ident, attributes, block[offset : offset + length]))
        offset += length + (4 - length % 4) % 4
    return items


def big_endian_twin(block):
    """The same snapshot as a big-endian machine would have written it, as
    far as the bytes tell: values of 2, 4 and 8 bytes are taken for numbers
    and turned (texts of those sizes are turned too, which a seed can live
    with). Its page count then reads as foreign here."""
    items = [(t, i, a, v[::-1] if len(v) in (2, 4, 8) else v) for t, i, a, v in read_block(block)]
    return settings_block(items, ">")


def snapshot_seeds(tool):
    """Snapshots of the sample and of tests/data's PPDs (those that read as
    valid documents; identical snapshots once), and the sample's written
    big-endian. `tool` is kelvo-snapshot-seeds; None keeps the existing ones."""
    if tool is None:
        return {path.name: path.read_bytes() for path in sorted((CORPUS / "settings_fuzzer").glob("snapshot-*"))}
    ppds = [ROOT / "samples" / "kelvo-sample.ppd"] + sorted((ROOT / "tests" / "data").rglob("*.ppd"))
    names = ["snapshot-" + "-".join(path.relative_to(ROOT).with_suffix("").parts[-2:]) for path in ppds]
    seeds, seen = {}, set()
    with tempfile.TemporaryDirectory() as scratch:
        # Exit status 1 only says that some files gave no seed (it names them).
        subprocess.run([str(tool), scratch] + [n + "=" + str(p) for n, p in zip(names, ppds)], check=False)
        for name in names:
            path = pathlib.Path(scratch) / name
            data = path.read_bytes() if path.exists() else None
            if data is not None and data not in seen:
                seen.add(data)
                seeds[name] = data
    if names[0] not in seeds:
        raise SystemExit("the sample PPD gave no snapshot")
    seeds[names[0] + "-big-endian"] = big_endian_twin(seeds[names[0]])
    return seeds


def write_plist_seeds():
    """Seeds for plist_fuzzer: printer address lists (current records with
    blobs, old version 0 and 1 records, an address equal to another
    printer's name, a header counting past the end) and other property
    lists, each as XML and as binary."""
    import plistlib

    end = "----- Data End -----"
    values = {
        "address-list": ["Office", "10.0.0.1", True, "2", "1:2", "Draft", "Copy", "2:1", "x", end,
                         "Lab", "Office", False, "2", end],
        "address-list-old": ["Old0", "10.0.0.2", False, "0", "Old1", "10.0.0.3", True, "1", "3", "a", "b", "c",
                             end],
        "address-list-damaged": ["P", "a", True, "2", "1:99999", "only", "Q", True, "R"],
        "printer-list": {"PCFILENAME": ["KPL9200.PPD", "KPL9300.PPD"]},
        "kinds": {"int": -9, "big": 2**63 - 1, "real": 0.5, "data": b"\x00\xff", "empty": b"",
                  "nested": [[[{"k": [True, False]}]]], "text": "\u00c9preuve <&>"},
    }
    seeds = {}
    for name, value in values.items():
        seeds[name + ".xml"] = plistlib.dumps(value, fmt=plistlib.FMT_XML, sort_keys=True)
        seeds[name + ".bin"] = plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=True)
    seeds["date.xml"] = b'<plist version="1.0"><array><date>2020-01-01T00:00:00Z</date></array></plist>'
    seeds["deep.xml"] = b'<plist version="1.0">' + b"<array>" * 70 + b"</array>" * 70 + b"</plist>"
    write("plist_fuzzer", seeds)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--snapshot-tool", type=pathlib.Path, help="kelvo-snapshot-seeds, to write snapshot seeds")
    args = parser.parse_args()
    # Read (or written) before the corpus folders are cleared below.
    snapshots = snapshot_seeds(args.snapshot_tool.resolve() if args.snapshot_tool else None)
    # Only the folders written here: other targets' seeds come from elsewhere.
    for target in ("ppd_parse_fuzzer", "text_converter_fuzzer", "constraints_fuzzer", "settings_fuzzer",
                   "plist_fuzzer"):
        shutil.rmtree(CORPUS / target, ignore_errors=True)
    parse = dict(PARSE_SEEDS)
    for path in sorted((ROOT / "tests" / "data").rglob("*.ppd")) + sorted((ROOT / "samples").glob("*.ppd")):
        name = "project-" + "-".join(path.relative_to(ROOT).with_suffix("").parts[-2:])
        parse[name] = path.read_bytes()
    # Gzip-compressed input is inflated as it is read: a whole file, one cut
    # in the middle of its stream, and two members one after the other.
    sample = (ROOT / "samples" / "kelvo-sample.ppd").read_bytes()
    packed = gzip.compress(sample, mtime=0)
    parse["gzip-sample"] = packed
    parse["gzip-cut"] = packed[: len(packed) // 2]
    half = len(sample) // 2
    parse["gzip-two-members"] = gzip.compress(sample[:half], mtime=0) + gzip.compress(sample[half:], mtime=0)
    write("ppd_parse_fuzzer", parse)
    write("text_converter_fuzzer", TEXT_SEEDS)
    write("constraints_fuzzer", CONSTRAINT_SEEDS)
    write_settings_seeds()
    write("settings_fuzzer", snapshots)
    write_plist_seeds()


if __name__ == "__main__":
    main()
