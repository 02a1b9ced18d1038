// Generator of large extended PPDs: a fixed preamble like a shipped description,
// then bulk controls in roll-downs, then constraints declared in both directions.
#include "GenerateExtendedPPD.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string_view>
#include <unordered_set>

namespace kelvobench {
namespace {

constexpr std::size_t kMiB = 1024 * 1024;
// Nominal proportions (2 controls to 5 constraint pairs); the counts are then
// scaled so the text hits the target size, which gives about 1,450 controls
// and 3,700 pairs per MiB.
constexpr double kControlsPerMiB = 2000;
constexpr double kConstraintPairsPerMiB = 5000; // two lines per pair
// Longest physical line the bulk writes, well under the 255-byte line limit.
constexpr std::size_t kPaddingLine = 72;

// splitmix64: the same sequence on every platform, which the std
// distributions do not promise.
class Rng {
public:
    explicit Rng(std::uint64_t seed) : mState(seed) {}
    std::uint64_t Next() {
        std::uint64_t z = (mState += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    std::size_t Below(std::size_t n) { return n ? static_cast<std::size_t>(Next() % n) : 0; }
    bool OneIn(std::size_t n) { return Below(n) == 0; }

private:
    std::uint64_t mState;
};

struct ChoiceSet {
    const char* keywords[7];
    const char* titles[7];
    std::size_t count;
};

// Choice keywords avoid "Off": one reader treats it like "None" in whole-key
// constraints and the other does not, and the query answers must agree.
const ChoiceSet kLevels{{"None", "Low", "Medium", "High", "Maximum"}, {"Off", "Low", "Medium", "High", "Maximum"}, 5};
const ChoiceSet kTrays{{"Auto", "Tray1", "Tray2", "Tray3", "Tray4", "Bypass", "HCI"},
                       {"Automatic", "Tray 1", "Tray 2", "Tray 3", "Tray 4", "Bypass Tray", "High Capacity Input"},
                       7};
const ChoiceSet kMedia{{"Plain", "Bond", "Heavy", "Glossy", "Labels", "Tab", "Recycled"},
                       {"Plain", "Bond", "Heavyweight", "Coated Glossy", "Labels", "Tab Stock", "Recycled"},
                       7};
const ChoiceSet kPositions{
    {"Left", "Right", "Top", "Bottom", "Center"}, {"Left", "Right", "Top", "Bottom", "Center"}, 5};
const ChoiceSet kQuality{{"Normal", "Draft", "Fine", "Best"}, {"Normal", "Draft", "Fine", "Best"}, 4};
const ChoiceSet kModes{{"Standard", "Photo", "Text", "Graphics", "Mixed", "Proof"},
                       {"Standard", "Photo", "Text", "Graphics", "Mixed Content", "Contract Proof"},
                       6};

struct Feature {
    const char* word;
    const char* title;
    const ChoiceSet* choices;
};

const Feature kPopupFeatures[] = {
    {"Feed", "Feed Mode", &kTrays},        {"Stack", "Stacking", &kPositions},   {"Trim", "Trimming", &kLevels},
    {"Gloss", "Gloss Level", &kLevels},    {"Halftone", "Halftone", &kQuality},  {"Trap", "Trapping", &kLevels},
    {"Edge", "Edge Enhancement", &kLevels}, {"Cover", "Cover Sheet", &kMedia},   {"Insert", "Insert Stock", &kMedia},
    {"Render", "Rendering", &kModes},      {"Fuser", "Fuser Temperature", &kLevels}, {"Curl", "Decurl", &kLevels},
    {"Density", "Toner Density", &kLevels}, {"Screen", "Screening", &kQuality}, {"Bind", "Binding", &kPositions},
    {"Fold", "Folding", &kPositions},      {"Punch", "Punch Position", &kPositions}, {"Tab", "Tab Source", &kTrays},
    {"Proof", "Proof Mode", &kModes},      {"Speed", "Print Speed", &kQuality}, {"Dry", "Drying", &kLevels},
    {"Profile", "Color Profile", &kModes}, {"Sheet", "Sheet Source", &kTrays},  {"Jog", "Offset Mode", &kPositions},
};
const Feature kBooleanFeatures[] = {
    {"Smooth", "Edge Smoothing", nullptr}, {"Black", "Pure Black Text", nullptr}, {"Save", "Toner Saver", nullptr},
    {"Rotate", "Auto Rotate", nullptr},    {"Blank", "Skip Blank Pages", nullptr}, {"Banner", "Banner Page", nullptr},
};
struct RangeFeature {
    const char* word;
    const char* title;
    const char* bounds;
    const char* code;
};
const RangeFeature kRangeFeatures[] = {
    {"Shift", "Image Shift (mm)", "(-20;20;1;0)", "<*K> 2.8346 mul /QJShift exch def"},
    {"Margin", "Binding Margin (mm)", "(0;50;1;0)", "/QJBindMargin <*K> def"},
    {"Copies", "Copies", "(1;9999;1;1)", "<</NumCopies <*K>>> setpagedevice"},
    {"Weight", "Paper Weight (g/m<B2>)", "(52;350;1;80)", "<</MediaWeight <*K>>> setpagedevice"},
    {"Bright", "Brightness", "(-50;50;5;0)", "/QJBrightness <*K> def"},
};
const RangeFeature kFloatFeatures[] = {
    {"Gamma", "Gamma", "(1.0;2.6;0.1;1.8)", "{<*K> exp} settransfer"},
    {"Creep", "Creep Compensation (mm)", "(0.0;2.0;0.05;0.0)", "/QJCreep <*K> def"},
    {"Scale", "Scale Factor", "(0.25;4.0;0.01;1.0)", "<*K> dup scale"},
};
struct NoteFeature {
    const char* word;
    const char* title;
    const char* flags;
};
const NoteFeature kNoteFeatures[] = {
    {"Account", "Account Number", "16|Numeric|Required|Remembered|MinLength4"},
    {"Dept", "Department Code", "8|Alpha|Numeric|Member"},
    {"Note", "Operator Note", "64|AlwaysDisplay|Remembered"},
    {"Ticket", "Ticket Reference", "32|Alpha|Numeric|Hyphen"},
    {"Pass", "Release Code", "12|Password|Resume"},
};
const char* const kControlFlags[] = {"Dynamic|Command", "Dynamic", "Command", "", "Setup", "Dynamic|Spooler"};

// Bulk control kinds, repeated in this order: 11 popups, 4 Booleans,
// 2 ranges, 2 job notes and 1 float range in every 20 controls.
enum Kind { kPopup, kBoolean, kRange, kFloat, kNote };
constexpr Kind kPattern[20] = {kPopup, kBoolean, kPopup, kRange,  kPopup, kBoolean, kPopup, kNote, kPopup, kFloat,
                               kPopup, kBoolean, kPopup, kRange,  kPopup, kNote,    kPopup, kBoolean, kPopup, kPopup};

// A popup or Boolean that constraints may name.
struct Option {
    std::string key; // with asterisk
    std::vector<std::string> choices;
    std::size_t defaultIndex = 0;
    const std::string& Default() const { return choices[defaultIndex]; }
};

// One side of a constraint: a choice, or the whole option (kAny).
constexpr std::size_t kAny = static_cast<std::size_t>(-1);
struct Side {
    std::size_t option;
    std::size_t choice;
};

struct Plan {
    std::size_t controls = 0;
    std::size_t constraintPairs = 0;
};

std::string Number(const char* format, std::size_t n) {
    char buf[32];
    std::snprintf(buf, sizeof buf, format, n);
    return buf;
}

class Builder {
public:
    explicit Builder(const Plan& plan)
        : mPlan(plan), mRng(0x4B656C766F000000ull ^ plan.controls ^ (plan.constraintPairs << 20)) {}

    GeneratedPPD Build() {
        mOut.reserve(static_cast<std::size_t>(mPlan.controls * 600 + mPlan.constraintPairs * 120 + 16384));
        Preamble();
        const std::size_t rollDowns = Hierarchy();
        StandardControls();
        BulkControls(rollDowns);
        InstalledOptions();
        Closing();
        Constraints();
        Queries();
        GeneratedPPD result;
        result.text = std::move(mOut);
        result.controls = mCounts;
        result.constraintLines = mConstraintLines;
        result.queries = std::move(mQueries);
        return result;
    }

private:
    void Line(std::string_view text) {
        mOut.append(text);
        mOut.push_back('\n');
    }

    void Preamble() {
        Line("*PPD-Adobe: \"4.3\"");
        Line("*% ====================================================================");
        Line("*% Kelvo ProLine 9900 production printer with the Kelvo CX-990 print");
        Line("*% controller, every finishing module and the full feature licence.");
        Line("*% Generated for load measurements: the bulk of the options below are");
        Line("*% controller features, grouped into roll-downs on four property pages.");
        Line("*% ====================================================================");
        Line("*FormatVersion: \"4.3\"");
        Line("*FileVersion: \"7.1\"");
        Line("*LanguageVersion: English");
        Line("*LanguageEncoding: ISOLatin1");
        Line("*PCFileName: \"KPL9900.PPD\"");
        Line("*Manufacturer: \"Kelvo\"");
        Line("*Product: \"(Kelvo ProLine 9900)\"");
        Line("*PSVersion: \"(3018.102) 2\"");
        Line("*ModelName: \"Kelvo ProLine 9900\"");
        Line("*ShortNickName: \"Kelvo ProLine 9900 CX-990\"");
        Line("*NickName: \"Kelvo ProLine 9900 CX-990 v7.1\"");
        Line("*LanguageLevel: \"3\"");
        Line("*ColorDevice: True");
        Line("*DefaultColorSpace: CMYK");
        Line("*FileSystem: True");
        Line("*Throughput: \"120\"");
        Line("*TTRasterizer: Type42");
        Line("*APDialogExtension: \"/usr/lib/kelvo/pde/KelvoPanel.plugin\"");
        Line("*%QJFileVersion: \"7.1.3\"");
        Line("*%QJVersion: \"3.2\"");
        Line("");
    }

    // Pages, their scroll panes and the roll-downs; returns the number of
    // bulk roll-downs ("FPFeatures000" on).
    std::size_t Hierarchy() {
        static const char* const kPages[4][3] = {
            {"QJPageGeneral", "QJPaneGeneral", "General"},
            {"QJPageFinishing", "QJPaneFinishing", "Finishing"},
            {"QJPageImage", "QJPaneImage", "Image Quality"},
            {"QJPageJob", "QJPaneJob", "Job Information"},
        };
        for (const auto& page : kPages)
            Line(std::string("*%QJVPropPage ") + page[0] + "/<4B656C766F> " + page[2] + ": \"True\"");
        for (const auto& page : kPages)
            Line(std::string("*%QJVGroupName ") + page[1] + "/" + page[2] + ": \"True\"");
        Line("*%QJVGroupName FPPaperSource/Paper Source: \"True\"");
        Line("*%QJVGroupName FPLayout/Layout: \"True\"");
        Line("*%QJVGroupName FPAccounting/Accounting: \"True\"");
        Line("*%QJVGroupName QJPPInstallableOptions/Installed Options: \"True\"");
        const std::size_t rollDowns = std::max<std::size_t>(4, mPlan.controls / 40);
        for (std::size_t r = 0; r < rollDowns; ++r) {
            // Every third title spells the maker's name in hex, as localised files do.
            const std::string title = r % 3 == 0 ? "<4B656C766F> Features<20>" + std::to_string(r + 1)
                                                 : "Features " + std::to_string(r + 1);
            Line("*%QJVGroupName " + Number("FPFeatures%03zu", r) + "/" + title + ": \"True\"");
        }
        for (const auto& page : kPages)
            Line(std::string("*%QJVParent ") + page[1] + "/" + page[0] + ": \"True|Scrollpane\"");
        Line("*%QJVParent FPPaperSource/QJPaneGeneral: \"True|Rolldown\"");
        Line("*%QJVParent FPLayout/QJPaneGeneral: \"True|Rolldown\"");
        Line("*%QJVParent FPAccounting/QJPaneJob: \"True|Rolldown\"");
        for (std::size_t r = 0; r < rollDowns; ++r)
            Line("*%QJVParent " + Number("FPFeatures%03zu", r) + "/" + kPages[r * 4 / rollDowns][1] +
                 ": \"True|Rolldown\"");
        Line("*%QJVSubGroupName FPPopupAccounting/Account Details:");
        Line("");
        return rollDowns;
    }

    void StandardControls() {
        Line("*%QJVFlags *PageSize: \"Dynamic|Command\"");
        Line("*%QJVGroup *PageSize: FPPaperSource");
        Line("*OpenUI *PageSize/Paper Size: PickOne");
        Line("*OrderDependency: 10 AnySetup *PageSize");
        Line("*DefaultPageSize: Letter");
        static const char* const kSizes[][3] = {
            {"Letter", "Letter", "612 792"}, {"Legal", "Legal", "612 1008"}, {"Tabloid", "Tabloid", "792 1224"},
            {"A4", "A4", "595 842"},         {"A3", "A3", "842 1191"},       {"SRA3", "SRA3", "907 1276"},
        };
        for (const auto& size : kSizes)
            Line(std::string("*PageSize ") + size[0] + "/" + size[1] + ": \"<</PageSize [" + size[2] +
                 "] /ImagingBBox null>> setpagedevice\"");
        Line("*CloseUI: *PageSize");
        Line("*OpenUI *PageRegion: PickOne");
        Line("*OrderDependency: 10 AnySetup *PageRegion");
        Line("*DefaultPageRegion: Letter");
        for (const auto& size : kSizes)
            Line(std::string("*PageRegion ") + size[0] + "/" + size[1] + ": \"<</PageSize [" + size[2] +
                 "] /ImagingBBox null>> setpagedevice\"");
        Line("*CloseUI: *PageRegion");
        Line("*DefaultImageableArea: Letter");
        for (const auto& size : kSizes)
            Line(std::string("*ImageableArea ") + size[0] + "/" + size[1] + ": \"12 12 " + size[2] + "\"");
        Line("*DefaultPaperDimension: Letter");
        for (const auto& size : kSizes)
            Line(std::string("*PaperDimension ") + size[0] + "/" + size[1] + ": \"" + size[2] + "\"");
        ++mCounts.popups;

        Line("*%QJVFlags *QJPrintSize: \"Dynamic\"");
        Line("*%QJVGroup *QJPrintSize: FPPaperSource");
        Line("*OpenUI *QJPrintSize/Print Size: PickOne");
        Line("*OrderDependency: 12 AnySetup *QJPrintSize");
        Line("*DefaultQJPrintSize: SameAsPageSize");
        Line("*QJPrintSize SameAsPageSize/Same as Paper Size: \"\"");
        for (const auto& size : kSizes)
            Line(std::string("*QJPrintSize ") + size[0] + "/" + size[1] + ": \"/QJPrintSize (" + size[0] + ") def\"");
        Line("*QJPrintSize CustomPrintSize/Custom: \"/QJPrintSize (Custom) def\"");
        Line("*CloseUI: *QJPrintSize");
        ++mCounts.popups;
        Line("*%ParamCustomPrintSize Width: 1 points 288 1296");
        Line("*%ParamCustomPrintSize Height: 2 points 288 3600");
        ++mCounts.customPageSizes;

        StandardPopup("*InputSlot", "Paper Source", "FPPaperSource", "Auto",
                      {"Auto/Auto Select", "Tray1/Tray 1", "Tray2/Tray 2", "Bypass/Bypass Tray",
                       "Envelope/Envelope Feeder"});
        StandardPopup("*MediaType", "Paper Type", "FPPaperSource", "Plain",
                      {"Plain/Plain", "Heavy/Heavyweight", "Transparency/Transparency", "Labels/Labels"});
        StandardPopup("*QJDuplex", "Two-Sided Printing", "FPLayout", "None",
                      {"None/Off", "DuplexNoTumble/Long-Edge Binding", "DuplexTumble/Short-Edge Binding"});

        Line("*%QJVFlags *QJCollate: \"Dynamic\"");
        Line("*%QJVGroup *QJCollate: FPLayout");
        Line("*OpenUI *QJCollate/Collate: Boolean");
        Line("*DefaultQJCollate: True");
        Line("*QJCollate True/On: \"<</Collate true>> setpagedevice\"");
        Line("*QJCollate False/Off: \"<</Collate false>> setpagedevice\"");
        Line("*CloseUI: *QJCollate");
        ++mCounts.booleans;
        Line("*%QJVFlags *QJCopies: \"Setup\"");
        Line("*%QJVGroup *QJCopies: FPLayout");
        Line("*%QJVRange *QJCopies/Copies: (1;9999;1;1) \"<</NumCopies <*QJCopies>>> setpagedevice\"");
        ++mCounts.ranges;
        Line("*%QJVJobNote *Notes1/Notes 1: 64|AlwaysDisplay|Remembered");
        Line("*%Notes1: \"(<*Notes1>) /QJNotes1 exch def\"");
        ++mCounts.jobNotes;
        Line("");
    }

    void StandardPopup(const char* key, const char* title, const char* group, const char* def,
                       std::initializer_list<const char*> choices) {
        const std::string k(key);
        Line("*%QJVFlags " + k + ": \"Dynamic|Command\"");
        Line("*%QJVGroup " + k + ": " + group);
        Line("*OpenUI " + k + "/" + title + ": PickOne");
        Line("*OrderDependency: 20 AnySetup " + k);
        Line("*Default" + k.substr(1) + ": " + def);
        for (const char* choice : choices) {
            const std::string_view c(choice);
            const std::string keyword(c.substr(0, c.find('/')));
            Line(k + " " + std::string(c) + ": \"<</" + k.substr(1) + " (" + keyword + ")>> setpagedevice\"");
        }
        Line("*CloseUI: " + k);
        ++mCounts.popups;
    }

    std::string Title(const char* base, std::size_t index) {
        // One title in four carries hex-coded bytes, as translated files do.
        if (index % 4 == 1)
            return std::string("<4B656C766F> ") + base + "<20>" + std::to_string(index);
        return std::string(base) + " " + std::to_string(index);
    }

    void Header(const std::string& key, const std::string& group) {
        Line("*%QJVFlags " + key + ": \"" + kControlFlags[mRng.Below(std::size(kControlFlags))] + "\"");
        Line("*%QJVGroup " + key + ": " + group);
    }

    // A long invocation: a transfer table over several physical lines, the
    // way controllers ship calibration data inside an option.
    void LongCode(const std::string& key, const std::string& choice, std::size_t index) {
        Line("  % Kelvo CX-990 calibration for " + key.substr(1) + ", choice " + choice);
        Line("  /QJTbl" + std::to_string(index) + " [");
        const std::size_t rows = 12 + mRng.Below(24);
        for (std::size_t row = 0; row < rows; ++row) {
            std::string text = "   ";
            for (std::size_t col = 0; col < 12; ++col)
                text += Number(" %zu.", mRng.Below(2)) + Number("%03zu", mRng.Below(1000));
            Line(text);
        }
        Line("  ] def");
        Line("  <</" + key.substr(1) + " (" + choice + ") /QJTable QJTbl" + std::to_string(index) +
             ">> setpagedevice\"");
        Line("*End");
    }

    void Popup(std::size_t index, const std::string& group) {
        const Feature& f = kPopupFeatures[mRng.Below(std::size(kPopupFeatures))];
        Option option;
        option.key = std::string("*QJ") + f.word + Number("%04zu", index);
        const std::size_t count = 3 + mRng.Below(std::min<std::size_t>(f.choices->count, 5) - 2);
        option.defaultIndex = mRng.OneIn(4) ? 1 : 0;
        const bool longCode = mRng.OneIn(12);
        const std::size_t longChoice = 1 + mRng.Below(count - 1);

        Header(option.key, group);
        Line("*OpenUI " + option.key + "/" + Title(f.title, index) + ": PickOne");
        if (index % 3 == 0)
            Line("*OrderDependency: 50 AnySetup " + option.key);
        for (std::size_t c = 0; c < count; ++c)
            option.choices.emplace_back(f.choices->keywords[c]);
        Line("*Default" + option.key.substr(1) + ": " + option.Default());
        for (std::size_t c = 0; c < count; ++c) {
            std::string title = f.choices->titles[c];
            if ((index + c) % 5 == 0)
                title += " <28>Kelvo<AE><29>";
            const std::string head = option.key + " " + option.choices[c] + "/" + title + ": \"";
            if (longCode && c == longChoice) {
                Line(head);
                LongCode(option.key, option.choices[c], index);
            } else {
                Line(head + "<</" + option.key.substr(1) + " (" + option.choices[c] + ")>> setpagedevice\"");
            }
        }
        Line("*CloseUI: " + option.key);
        ++mCounts.popups;
        mOptions.push_back(std::move(option));
    }

    void Boolean(std::size_t index, const std::string& group) {
        const Feature& f = kBooleanFeatures[mRng.Below(std::size(kBooleanFeatures))];
        Option option;
        option.key = std::string("*QJ") + f.word + Number("%04zu", index);
        option.choices = {"True", "False"};
        option.defaultIndex = 1;
        Header(option.key, group);
        Line("*OpenUI " + option.key + "/" + Title(f.title, index) + ": Boolean");
        if (index % 3 == 0)
            Line("*OrderDependency: 55 AnySetup " + option.key);
        Line("*Default" + option.key.substr(1) + ": False");
        Line(option.key + " True/On: \"/" + option.key.substr(1) + " true def\"");
        Line(option.key + " False/Off: \"/" + option.key.substr(1) + " false def\"");
        Line("*CloseUI: " + option.key);
        ++mCounts.booleans;
        mOptions.push_back(std::move(option));
    }

    void Range(std::size_t index, const std::string& group, bool isFloat) {
        const RangeFeature& f = isFloat ? kFloatFeatures[mRng.Below(std::size(kFloatFeatures))]
                                        : kRangeFeatures[mRng.Below(std::size(kRangeFeatures))];
        const std::string key = std::string("*QJ") + f.word + Number("%04zu", index);
        std::string code = f.code;
        code.replace(code.find("<*K>"), 4, "<" + key + ">");
        Header(key, group);
        const char* statement = isFloat ? "*%QJVFloatRange " : (index % 3 ? "*%QJVRange " : "*%QJVUnitRange ");
        Line(statement + key + "/" + Title(f.title, index) + ": " + f.bounds + " \"" + code + "\"");
        ++(isFloat ? mCounts.floatRanges : mCounts.ranges);
    }

    void Note(std::size_t index, const std::string& group) {
        const NoteFeature& f = kNoteFeatures[mRng.Below(std::size(kNoteFeatures))];
        const std::string key = std::string("*QJ") + f.word + Number("%04zu", index);
        Header(key, group);
        Line("*%QJVJobNote " + key + "/" + Title(f.title, index) + ": " + f.flags);
        // The following line holds either the note's template or its default text.
        if (mRng.OneIn(3))
            Line("*%Default" + key.substr(1) + ": \"Deliver to the mail room\"");
        else
            Line("*%" + key.substr(1) + ": \"(<" + key + ">) /" + key.substr(1) + " exch def\"");
        ++mCounts.jobNotes;
    }

    void BulkControls(std::size_t rollDowns) {
        for (std::size_t i = 0; i < mPlan.controls; ++i) {
            const std::size_t rollDown = i * rollDowns / std::max<std::size_t>(1, mPlan.controls);
            const std::string group = Number("FPFeatures%03zu", rollDown);
            switch (kPattern[i % std::size(kPattern)]) {
            case kPopup: Popup(i, group); break;
            case kBoolean: Boolean(i, group); break;
            case kRange: Range(i, group, false); break;
            case kFloat: Range(i, group, true); break;
            case kNote: Note(i, group); break;
            }
            Line("");
        }
    }

    void InstalledOptions() {
        Line("*OpenGroup: InstallableOptions/Options Installed");
        const std::size_t count = 2 + mPlan.controls / 500;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string key = i == 0 ? std::string("*QJDuplexer") : Number("*QJModule%02zu", i);
            Line("*%QJVFlags " + key + ": \"Command\"");
            Line("*%QJVGroup " + key + ": QJPPInstallableOptions");
            Line("*OpenUI " + key + "/" + (i == 0 ? std::string("Duplex<20>Unit") : Title("Finishing Module", i)) +
                 ": PickOne");
            Line("*Default" + key.substr(1) + ": Installed");
            Line(key + " NotInstalled/Not Installed: \"\"");
            Line(key + " Installed/Installed: \"\"");
            Line("*CloseUI: " + key);
            ++mCounts.popups;
        }
        Line("*CloseGroup: InstallableOptions");
        Line("");
    }

    void Closing() {
        Line("*%QJVSpecialOption *QJControllerModel: Kelvo CX-990 Print Controller");
        Line("*%QJVSpecialOption *QJJobFormat: PDL 2");
        mCounts.specialOptions += 2;
        for (const char* key : {"*PageSize", "*InputSlot", "*MediaType", "*QJDuplex", "*QJCollate"})
            Line(std::string("*%QJShortcut: ") + key);
        Line("");
    }

    std::string SideText(const Side& side) const {
        const Option& o = mOptions[side.option];
        return side.choice == kAny ? o.key : o.key + " " + o.choices[side.choice];
    }

    void Constraint(const Side& a, const Side& b) {
        Line("*UIConstraints: " + SideText(a) + " " + SideText(b));
        ++mConstraintLines;
    }

    std::size_t NonDefault(const Option& o) {
        const std::size_t pick = mRng.Below(o.choices.size() - 1);
        return pick >= o.defaultIndex ? pick + 1 : pick;
    }

    // Every declaration comes in both directions, as shipped files write
    // them; a line never pairs two defaults, so the defaults are consistent.
    void Constraints() {
        Line("*% Transparencies and labels print one-sided; duplexing needs the unit.");
        const char* const kFixed[][2] = {
            {"*MediaType Transparency", "*QJDuplex DuplexNoTumble"},
            {"*MediaType Transparency", "*QJDuplex DuplexTumble"},
            {"*MediaType Labels", "*QJDuplex"},
            {"*InputSlot Envelope", "*QJDuplex"},
            {"*QJDuplexer NotInstalled", "*QJDuplex"},
        };
        for (const auto& pair : kFixed) {
            Line(std::string("*UIConstraints: ") + pair[0] + " " + pair[1]);
            Line(std::string("*UIConstraints: ") + pair[1] + " " + pair[0]);
            mConstraintLines += 2;
        }
        mPartners.assign(mOptions.size(), {});
        if (mOptions.size() < 2)
            return;
        std::unordered_set<std::string> seen;
        std::size_t made = 0;
        for (std::size_t attempt = 0; made < mPlan.constraintPairs && attempt < mPlan.constraintPairs * 4; ++attempt) {
            // Partners sit near each other, as features of one module do.
            const std::size_t i = mRng.Below(mOptions.size());
            const std::size_t span = std::min<std::size_t>(mOptions.size() - 1, 60);
            const std::size_t j = (i + 1 + mRng.Below(span)) % mOptions.size();
            const Option& a = mOptions[i];
            const Option& b = mOptions[j];
            // Forms: "A c B d" (d the default one time in three), "A c B", "A B d".
            Side first{i, NonDefault(a)};
            Side second{j, kAny};
            const std::size_t form = mRng.Below(10);
            if (form < 7) {
                second.choice = mRng.OneIn(3) ? b.defaultIndex : NonDefault(b);
            } else if (form == 9) {
                first.choice = kAny;
                second.choice = NonDefault(b);
            }
            if (!seen.insert(SideText(first) + "|" + SideText(second)).second)
                continue;
            seen.insert(SideText(second) + "|" + SideText(first));
            Constraint(first, second);
            Constraint(second, first);
            mPartners[first.option].push_back({first.choice, second});
            mPartners[second.option].push_back({second.choice, first});
            ++made;
        }
        Line("");
    }

    // A side is satisfied by the defaults when it names the default choice,
    // or names the whole option and the default is neither "None" nor "False".
    bool HoldsAtDefaults(const Side& side) const {
        const Option& o = mOptions[side.option];
        if (side.choice == kAny)
            return o.Default() != "None" && o.Default() != "False";
        return side.choice == o.defaultIndex;
    }

    bool Conflicts(std::size_t option, std::size_t choice) const {
        const std::string& text = mOptions[option].choices[choice];
        for (const auto& [own, other] : mPartners[option]) {
            const bool matches = own == kAny ? text != "None" && text != "False" : own == choice;
            if (matches && HoldsAtDefaults(other))
                return true;
        }
        return false;
    }

    void Queries() {
        std::vector<ConstraintQuery> yes, no;
        for (std::size_t o = 0; o < mOptions.size(); ++o) {
            const Option& option = mOptions[o];
            for (std::size_t c = 0; c < option.choices.size(); ++c) {
                if (c == option.defaultIndex)
                    continue;
                ConstraintQuery q{option.key, option.choices[c], option.Default(), Conflicts(o, c)};
                (q.conflicts ? yes : no).push_back(std::move(q));
            }
        }
        // Spread the questions over the whole file, alternating the answers.
        constexpr std::size_t kPerKind = 64;
        const std::size_t n = std::min({kPerKind, yes.size(), no.size()});
        for (std::size_t k = 0; k < n; ++k) {
            mQueries.push_back(yes[k * yes.size() / n]);
            mQueries.push_back(no[k * no.size() / n]);
        }
    }

    Plan mPlan;
    Rng mRng;
    std::string mOut;
    ExpectedControls mCounts;
    std::size_t mConstraintLines = 0;
    std::vector<Option> mOptions;
    // Per option: (own choice or kAny, the other side) of every declaration.
    std::vector<std::vector<std::pair<std::size_t, Side>>> mPartners;
    std::vector<ConstraintQuery> mQueries;
};

GeneratedPPD BuildPlan(const Plan& plan) { return Builder(plan).Build(); }

// Fills the gap to the target with a comment block, the last line of which
// absorbs the remainder so the total comes out exact.
void Pad(std::string& text, std::size_t targetBytes) {
    const std::string heading = "*% Revision history of the option tables follows.\n";
    const std::string last = "*% End of Kelvo ProLine 9900 description";
    const auto room = [&] {
        const std::size_t need = text.size() + last.size() + 1;
        return targetBytes > need ? targetBytes - need : 0;
    };
    if (room() >= heading.size() + kPaddingLine)
        text += heading;
    while (room() >= kPaddingLine)
        text += "*% " + std::string(kPaddingLine - 4, '-') + "\n";
    text += last + std::string(room(), '-') + "\n";
}

} // namespace

GeneratedPPD GenerateExtendedPPD(std::size_t targetBytes) {
    // The preamble is fixed; the bulk grows linearly with the plan. Scale the
    // nominal plan to the room left (twice, to absorb the rounding), then trim
    // until the padding's last line fits.
    const std::size_t preamble = BuildPlan(Plan{}).text.size();
    const std::size_t room = targetBytes > preamble + 256 ? targetBytes - preamble - 256 : 0;
    const double mib = static_cast<double>(targetBytes) / kMiB;
    Plan plan{static_cast<std::size_t>(kControlsPerMiB * mib), static_cast<std::size_t>(kConstraintPairsPerMiB * mib)};
    for (int round = 0; round < 2 && room > 0 && plan.controls > 0; ++round) {
        const std::size_t bulk = BuildPlan(plan).text.size() - preamble;
        const double scale = static_cast<double>(room) / static_cast<double>(std::max<std::size_t>(bulk, 1));
        plan.controls = static_cast<std::size_t>(static_cast<double>(plan.controls) * scale);
        plan.constraintPairs = static_cast<std::size_t>(static_cast<double>(plan.constraintPairs) * scale);
    }
    if (room == 0)
        plan = Plan{};
    GeneratedPPD result = BuildPlan(plan);
    while (result.text.size() + 64 > targetBytes && plan.controls > 0) {
        plan.controls -= std::max<std::size_t>(1, plan.controls / 200);
        plan.constraintPairs -= std::min(plan.constraintPairs, std::max<std::size_t>(1, plan.constraintPairs / 200));
        result = BuildPlan(plan);
    }
    Pad(result.text, targetBytes);
    return result;
}

std::string GeneratedFileName(std::size_t targetBytes) {
    return "kelvo-generated-" + std::to_string(targetBytes / 1024) + "k.ppd";
}

} // namespace kelvobench
