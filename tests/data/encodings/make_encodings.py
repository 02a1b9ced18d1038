#!/usr/bin/env python3
"""Writes the encoding test PPDs: one per *LanguageEncoding value, with the
translation strings stored as real bytes of that encoding, and next to each a
<name>.expected.txt holding the UTF-8 text of the *OpenUI translation (no
trailing newline). Run from this directory; the output is checked in."""

# name, *LanguageEncoding, *LanguageVersion, Python codec,
# (page, group, OpenUI, choice None, choice DuplexNoTumble), OpenUI expected
FILES = [
    ("ISOLatin1", "ISOLatin1", "French", "latin-1",
     ("Finition", "Mise en page", "Impression recto verso é à", "Désactivé", "Bord long"), None),
    ("ISOLatin2", "ISOLatin2", "Polish", "iso-8859-2",
     ("Wykończenie", "Układ", "Dwustronny wydruk ąę", "Wyłączone", "Długa krawędź"), None),
    ("ISOLatin5", "ISOLatin5", "Turkish", "iso-8859-9",
     ("Son işlem", "Düzen", "Çift taraflı yazdırma ğş", "Kapalı", "Uzun kenar"), None),
    ("JIS83-RKSJ", "JIS83-RKSJ", "Japanese", "cp932",
     ("仕上げ", "レイアウト", "両面印刷", "しない", "長辺とじ"), None),
    # The OpenUI translation also carries a <hex> run (2D is "-").
    ("MacStandard", "MacStandard", "French", "mac-roman",
     ("Finition", "Mise en page", "Recto<2D>verso é", "Désactivé", "Bord long"), "Recto-verso é"),
    ("WindowsANSI", "WindowsANSI", "German", "cp1252",
     ("Endbearbeitung", "Layout", "Beidseitiger Druck € ü", "Aus", "Lange Kante"), None),
    ("UTF-8", "UTF-8", "English", "utf-8",
     ("Finishing", "Layout", "Two-sided — ąé 両面", "Off", "Long edge"), None),
    # A value outside the known set: the bytes are read as UTF-8.
    ("Unknown", "None", "English", "utf-8",
     ("Finishing", "Layout", "Duplex ü", "Off", "Long edge"), None),
]

TEMPLATE = """*PPD-Adobe: "4.3"
*% Test PPD: translation strings encoded as {encoding} ({language})
*FormatVersion: "4.3"
*LanguageVersion: {language}
*LanguageEncoding: {encoding}
*PCFileName: "KELVOPL.PPD"
*ModelName: "Kelvo Test"
*%QJVPropPage QJPage1/{page}: "True"
*%QJVGroupName QJGroup1/{group}: "True"
*%QJVFlags *QJDuplex: "Dynamic"
*%QJVGroup *QJDuplex: QJGroup1
*OpenUI *QJDuplex/{openui}: PickOne
*DefaultQJDuplex: None
*QJDuplex None/{none}: "<</Duplex false>> setpagedevice"
*QJDuplex DuplexNoTumble/{tumble}: "<</Duplex true>> setpagedevice"
*CloseUI: *QJDuplex
"""

for name, encoding, language, codec, texts, expected in FILES:
    page, group, openui, none, tumble = texts
    text = TEMPLATE.format(encoding=encoding, language=language, page=page, group=group,
                           openui=openui, none=none, tumble=tumble)
    with open(f"{name}.ppd", "wb") as f:
        f.write(text.encode(codec))
    with open(f"{name}.expected.txt", "wb") as f:
        f.write((expected or openui).encode("utf-8"))
