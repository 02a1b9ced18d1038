#!/usr/bin/env python3
"""Writes one small PPD three times, with LF, CR and CRLF line ends; the files
are otherwise byte for byte the same. The text reaches across line ends in
every way the reader knows: PostScript over several lines (with a blank line
and a "*%" continuation line), a job note followed by its template line, and
statements that read the next line (*%QJVFlags, *%QJVGroup). Run from this
directory; the output is checked in."""

TEXT = """*PPD-Adobe: "4.3"
*% Line-end test PPD: written by make_line_endings.py, do not edit
*FormatVersion: "4.3"
*FileVersion: "1.0"
*LanguageVersion: English
*LanguageEncoding: ISOLatin1
*PCFileName: "KELVOLE.PPD"
*ModelName: "Kelvo Line Ends"
*%QJFileVersion: "1.0.3"
*%QJVersion: "3.2"
*%QJVPropPage QJPage1/Finishing: "True"
*%QJVGroupName QJPane1/Pane: "True"
*%QJVGroupName FPFinish/Finish Options: "True"
*%QJVParent QJPane1/QJPage1: "True|Scrollpane"
*%QJVParent FPFinish/QJPane1: "True|Rolldown"

*%QJVFlags *QJDuplex: "Dynamic|Command"
*%QJVGroup *QJDuplex: FPFinish
*OpenUI *QJDuplex/Two-Sided: PickOne
*OrderDependency: 50 AnySetup *QJDuplex
*DefaultQJDuplex: DuplexNoTumble
*QJDuplex None/Off: "<</Duplex false>> setpagedevice"
*QJDuplex DuplexNoTumble/Long Edge: "<</Duplex true

*%/Tumble false>>
setpagedevice"
*End
*CloseUI: *QJDuplex

*%QJVFlags *QJStaple: ""
*%QJVGroup *QJStaple: FPFinish
*OpenUI *QJStaple/Staple: Boolean
*DefaultQJStaple: True
*QJStaple True/On: "<</Staple 3>>
setpagedevice"
*End
*QJStaple False/Off: ""
*CloseUI: *QJStaple

*%QJVFlags *QJCopies: ""
*%QJVGroup *QJCopies: FPFinish
*%QJVRange *QJCopies/Copies: (1;999;1;2) "<</NumCopies <*QJCopies>>> setpagedevice"

*%QJVFlags *QJShift: ""
*%QJVGroup *QJShift: FPFinish
*%QJVFloatRange *QJShift/Shift: (-5;5;0.5;1.5) "/QJShift <*QJShift> def"

*%QJVJobNote *Notes1/Notes: 32|Remembered
*%Notes1: "(<*Notes1>) /QJNotes1 exch def"
*%QJVJobNote *Notes2/Routing: 32|Remembered
*%DefaultNotes2: "Front desk"

*%QJShortcut: *QJDuplex
*UIConstraints: *QJDuplex DuplexNoTumble *QJStaple True
"""

for name, end in (("lf", "\n"), ("cr", "\r"), ("crlf", "\r\n")):
    with open(f"small-{name}.ppd", "wb") as out:
        out.write(TEXT.replace("\n", end).encode("ascii"))
