// One good answer for each kind of record, with what it holds and what is said of it, and what becomes of it
// when it is bent at each of its fields.

#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <new>
#include <regex>
#include <sstream>
#include <tuple>

#include "protocol/InfoItemPrnDeviceInfo.h"
#include "protocol/InfoItemPrnHeadInfo.h"
#include "protocol/InfoItemPrnLifeInfo.h"
#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/LogosType.h"
#include "protocol/ModuleItemPrnModuleList.h"
#include "protocol/ProtocolAnswer.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/SetupItemHeader.h"
#include "protocol/SetupItemIDList.h"
#include "protocol/SetupItemTypeDateTime.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/SetupItemTypeNumeric.h"
#include "protocol/SetupItemTypeString.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "protocol/ToolsData.h"
#include "protocol/UpgradeDataInfo.h"

namespace {
std::size_t largest = 0;  // bytes asked for at once
}

// Not inlined: beside an allocation of its own the compiler would take `free` for the wrong partner of `new`.
__attribute__((noinline)) void* operator new(std::size_t size) {
    largest = std::max(largest, size);
    void* const block = std::malloc(size);
    return block != nullptr ? block : throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size);
}
__attribute__((noinline)) void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}

namespace {

/// Good answers. The first line of each gives the answer, the types of its fields (a letter of kTypes for
/// each one behind the tag; those of an item's kind in "()") and what the record holds: its kind and its
/// members. Behind "|" stand the lines of the log, a tag where it changes. Each further line puts other
/// fields, one after the other, in the place of one: the last line that is said then, or, behind "=", a part
/// of what the record holds. "^" is an STX, "@" a text of 600 letters, and behind the arrow the 511 that are
/// kept of it.
const char* const kGoods = R"(
<C1><1.00>  S  1,100
| Printer Protocoll Version : 100|Printer Protocoll Version Supported|End
1 <0.00> -> =1,0
1 <1,00> -> =1,100
1 <2.00><1.01><a> -> Printer Protocoll Version NOT Supported
<C2><2>first 50%~second~  tTT  2,;first 50 ;second
| Number of Header Lines : 2|01 - first 50 |02 - second|End
1 <0><4294967295> -> =2,
<C32><2>first~second~  tTT  5,;first;second
| Number of Printer Life Info Lines : 2|01 - first|02 - second|End
<C33><2>first~second~  tTT  6,;first;second
| Number of Printer Device Info Lines : 2|01 - first|02 - second|End
<C35><2>first~second~  tTT  7,;first;second
| Number of Printer Head Info Lines : 2|01 - first|02 - second|End
<C64><2>first~second~  tTT  11,;first;second
| Number of Modules List : 2|01 - first|02 - second|End
<C3><3><7><4294967295><5>#  nIII#  3,;7;4294967295;5
| Total Number of ID : 3|01 - 7|02 - 4294967295|03 - 5|End
1 <2><0> -> Checksum Error
<C4><77><0><1>Name~<0><10><11><12><3>slow~fast~best~#  III(TIIIItTTT)#  18,77,1,Name,,,10,11,12,12,;slow,10;fast,11;best,12
| [CreateSetupItemType_Prot100]Begin|ID Number : 77|Link Size : 0|Type : 1|Type : PROT_TYPE_LIST|
| [ExtractIDInfo_TypeList_Prot100]Begin|Description : Name|Additional Description : {0}|StartValue : 10|
| DefaultValue : 11|CurrentValue : 12|Number of Elements : 3|00 - 10|01 - 11|02 - 12|
| [CreateSetupItemType_Prot100]End|[CreateSetupItem_Prot100]End
5 <1> -> FTYPE_STRING_VALUE Error|Extract Type Error
6 <2147483647> -> =;fast,2147483648;best,2147483649|DATA Error - Current Value 12 out of Range|DATA Error - Def
7 <13> -> =|DATA Error - Default Value 13 out of Range|1
8 <9> -> =|DATA Error - Current Value 9 out of Range|1
11 @~ -> =;@,11;
<C4><77><1><H><4000000000><9><2>Name~<7>more~<1><9.5><0.5><2><3>#  II*III(TIT12345)#  19,77,2,Name,more,4000000000,9,0,1,1,9.5,0.5,2,3,3
| [CreateSetupItemType_Prot100]Begin|ID Number : 77|Link Size : 1|Link 1: View Operation :0/1|
| Link 1: ID Source :4000000000|Link 1: Link ID Value :9|Type : 2|Type : PROT_TYPE_NUMERIC|
| [ExtractIDInfo_TypeNumeric_Prot100]Begin|Description : Name|Additional Description : more|
| MinValue 1.000000|MaxValue 9.500000|StepValue 0.500000|DefValue 2.000000|CurValue 3.000000|
| [CreateSetupItemType_Prot100]Add 1 Links|End|[CreateSetupItem_Prot100]End
3 <D>D~<DV> -> =,9,2,1,
3 <V><><5> -> =,9,1,0,
3 <H,D> -> =,9,0,2,
3 <D,H> -> =,9,2,0,
3 <V,V> -> =,9,1,1,
3 <H,D,H>,~ -> Link Params Error
6 <0> -> Type : 0|Extract Type Error
6 <5> -> Type : 5|Extract Type Error
6 <258> -> Type : 258|Extract Type Error
7 @~ -> =,@,more,
8 <0> -> Extract MinValue Error|Extract Type Error
9 @~ -> =,Name,@,
<C4><77><0><3>Name~<0><0124-06-15 10:20:30>#  III(TI6)#  20,77,3,Name,,,2024-06-15 10:20:30,2024-06-15 10:20:30
| [CreateSetupItemType_Prot100]Begin|ID Number : 77|Link Size : 0|Type : 3|Type : PROT_TYPE_DATETIME|
| [ExtractIDInfo_TypeDateTime_Prot100]Begin|Description : Name|Additional Description : |
| Current Date / Time Value (dd/MM/yyyy HH:mm:ss):15-06-2024 10:20:30|
| [CreateSetupItemType_Prot100]End|[CreateSetupItem_Prot100]End
6 <0124/01/02T03.04.05> -> =,2024-01-02 03:04:05,2024-01-02 03:04:05
6 <0099-12-31 23:59:59 and more> -> =,1999-12-31 23:59:59
6 <0070-01-01 00:59:59> -> =,1970-01-01 00:59:59
6 0124-06-15 10:20:30~<0124><a><7><-124-06-15 10:20:30><9999-06-15 10:20:30> -> Time Value Error|Extract Type Error
6 <0124-13-15 10:20:30><0124-00-15 10:20:30><0124-06-32 10:20:30> -> Time Value Error|Extract Type Error
6 <0124-06-15 24:20:30><0124-06-15 10:60:30><0124-06-15 10:20:3> -> Time Value Error|Extract Type Error
<C4><77><0><4>Name~<0><1><20><255>def~cur~#  III(TI789dc)#  21,77,4,Name,,,1,20,255,def,cur,cur
| [CreateSetupItemType_Prot100]Begin|ID Number : 77|Link Size : 0|Type : 4|Type : PROT_TYPE_STRING|
| [ExtractIDInfo_TypeString_Prot100]Begin|Description : {0}|Additional Description : |MinLen 1|MaxLen 20|
| DataMask 255|DefValue def|CurValue cur|[CreateSetupItemType_Prot100]End|[CreateSetupItem_Prot100]End
8 <0><4294967296><x> -> DataMask can't be 0|Extract Type Error
9 @~ -> =,@,cur,
10 @~ -> =,def,@,@
<C40><4294967295>  I  8,4294967295,0
| Protocoll Data Available : 4294967295|End
1 <4294967301> -> =8,5,0
1 <99999999999999999999> -> =8,0,0
<C48><2><1><5><BMP><Y><M1><6><F 640X48><10><11><2><9><RAW><N><M2><7><640><0><1><Y>  nIISSSIWIIIISSSIWIIS  9,1,9,;1,5,0,1,0,6,640,48,1,10,11;2,9,1,0,1,7,16777215,16777215,0,0,1
| Total Number of Logos Info : 2|01 - 1|01 - 5|<BMP>|<Y>|<M1>|01 - 6|<F 640X48>|01 - 10|01 - 11|02 - 2|02 - 9|
| <RAW>|<N>|<M2>|02 - 7|<640>|02 - 0|02 - 1|[CalcNumMaxLogo]NumMaxLogo = 9|[CreateSetupItem_Prot100]End
8 <640X> -> =,6,16777215,16777215,0,10
3 <0> -> =9,1,2147483647,
12 <4> -> =9,1,5,
20 <no> -> =9,0,9,
1 <1> -> FTYPE_VSTRING_VALUE Error
<C49><3><7><3><4000000000>#  nIII#  10,;3;7;4000000000
| Total Number of ID : 3|01 - 7|02 - 3|03 - 4000000000|End
1 <2> -> Checksum Error
<C50><3><BMP24>logo.bmp~<640x48><5><DATABYTES><^~>x</DATABYTES>#  ISTSID#  22,3,0,logo.bmp,640,48,<^~>x
| [CreateLogoData_Prot100]Logo ID Number : 3|Logo Type : 0|Logo Filename : logo.bmp|
| Logo Image Size : <640x48> (640 x 48)|Logo Image data Size : 5|Logo Image data Size : 5|End|
| [CreateSetupItem_Prot100]End
2 <PNG> -> =22,3,1,logo
4 <640x><6x4x2> -> Extract Image size Error
5 <6> -> Image size Error (6 - 5)
5 <4294967295> -> Image size Error (-1 - 5)
<C80><10><4294967295>  II  12,10,4294967295
| Tools1 : 0x0000000a|Tools1 : 0xffffffff|End
<C96><5><DATABYTES>^<~x></DATABYTES>#  ID#  13,^<~x>
| Module Font Size Expected : 5|End
1 <4> -> Buffer Size error: 4 - 5
1 <6> -> Buffer Size error: 6 - 5
1 <4294967295> -> Buffer Size error: -1 - 5
<C112><u3><><12;3;0>  SCS  14,3,,12,3,0
| End
1 <U1> -> =14,1,
1 <U6> -> =14,6,
1 <U7><U33> -> SetUpgradeMode Error
2 <a;b> -> =,a;b,
2 <0042> -> =,42;,
2 < > -> =3,,12
2 <@> -> =,@,12
3 <7;;8x;-9> -> =,7,8,-9
3 <12;3><1;2;3;4><1;x;3><1;2;99999999999999999999> -> SetUpgradeDeviceIDs Error
<C128><6><DATABYTES>a!~`</DATABYTES><2><1|0><41 >text~<5>more~<2 ><1|6><42 >last~<0><1 >  IDnSSTITSSSTIS  15,6,1610621281,;1,0,41,text,more,2;1,5,0,Ticket present in output,,1;1,6,42,last,,1;2,0
| StatusPorts : 6|Bit mask supported : 0x60002161|Number of bits to explain : 2|Byte : 1|Bit : 0|Id : 41|
| Description : text|Additional Description : more|Signal Family : 2|Byte : 1|Bit : 6|Id : 42|
| Description : last|Additional Description : |Signal Family : 1|End
2 <DATABYTES>123</DATABYTES> -> Buffer Size error: 4 - 3
2 <DATABYTES>12345</DATABYTES> -> Buffer Size error: 4 - 5
3 <0> -> =15,6,1610621281,;1,0,0,Paper not present,,2;1,5,0,
4 <x> -> Add Byte/Bit Error
5 <x> -> Add Bit ID Error
9 <x> -> Add Signal Family Error
<C129><1><8><2><1|0><41 >text~<0><2 ><9|0><42 >beyond~<0><2 >  IInSSTISSSTIS  16,1,8,;1,0,41,text,,2
| StatusPorts : 1|Number of bytes of extended status : 8|Number of bits to explain : 2|Byte : 1|Bit : {0}|
| Id : 41|Description : text|Additional Description : |Signal Family : 2|Byte : 9|Bit : {0}|Id : 42|
| Description : beyond|Additional Description : |Signal Family : 2|End
3 <0> -> =16,1,8,
<C138><DATABYTES>1<~3</DATABYTES>  D  17,1<~3
| End
1 <DATABYTES>123</DATABYTES> -> Buffer Size error: 4 - 3
1 <DATABYTES>12345</DATABYTES> -> Buffer Size error: 4 - 5
)";

const std::string kIntError = "FTYPE_VINT_VALUE Error";

/// What a letter of Good::types asks of a field: one of the fields named, and what is said of any other.
/// "n" and "t" count fields that begin with a number or with a text, "#" is the answer sum.
const std::map<char, std::pair<std::string, std::string>> kTypes = {
    {'I', {"<7>", kIntError}},
    {'n', {"<7>", kIntError}},
    {'t', {"<7>", kIntError}},
    {'#', {"<7>", kIntError}},
    {'*', {"<7><x>x~<><DATABYTES>x</DATABYTES>", kIntError}},
    {'S', {"<x>", "FTYPE_VSTRING_VALUE Error"}},
    {'T', {"x~", "FTYPE_STRING_VALUE Error"}},
    {'D', {"<DATABYTES>x</DATABYTES>", "FTYPE_VDATABYTES Error"}},
    {'W', {"<7><x>", "FTYPE_VSTRING_VALUE or FTYPE_VINT_VALUE Error"}},
    {'C', {"<7><x><>", "FTYPE_VSTRING_VALUE/FTYPE_EMPTY/FTYPE_VINT_VALUE Error"}},
    {'1', {"<7><x>", "Extract MinValue Error"}},
    {'2', {"<7><x>", "Extract MaxValue Error"}},
    {'3', {"<7><x>", "Extract StepValue Error"}},
    {'4', {"<7><x>", "Extract DefValue Error"}},
    {'5', {"<7><x>", "Extract CurValue Error"}},
    {'6', {"<7><x>x~", "Extract Current Date / Time Error"}},
    {'7', {"<7><x>", "Extract MinLen Error"}},
    {'8', {"<7><x>", "Extract MaxLen Error"}},
    {'9', {"<7><x>", "Extract DataMask Error"}},
    {'d', {"x~", "Extract DefValue Error"}},
    {'c', {"x~", "Extract CurValue Error"}}};

template <class First, class... Rest>
std::string Show(const First& first, const Rest&... rest) {
    std::ostringstream out;
    out << first;
    ((out << ',' << rest), ...);
    return out.str();
}

template <class List>
std::string Listed(const List& list) {
    std::string text;
    for (const auto& value : list) text += ";" + Show(value);
    return text;
}

std::string Item(const SetupItemType& item) {
    std::string links;
    for (const SetupItemLink& link : item.listLinks)
        links += Show(link.uiIDSource, link.iLinkIDValue, link.iViewOperation, link.iViewOperation2);
    return Show(item.uiID, +item.iType, item.strDescription, item.strAdditionalDescription, links);
}

template <class Record>
std::string Bits(const Record& record) {
    std::string text;
    for (const StatusBitInfo* bit : record.GetOnlyBitsAvailable())
        text += ";" + Show(bit->iByte, bit->iBit, bit->iID, bit->strDescription,
                           bit->strAdditionalDescription, bit->iSignalFamily);
    return text;
}

std::string Local(std::time_t time) {
    char text[32] = "";
    std::strftime(text, sizeof text, "%F %T", std::localtime(&time));
    return text;
}

/// The members of the record.
std::string MembersOf(const ProtocolRecord& record) {
    if (const auto* r = record.As<std::uint64_t>()) return Show(*r);
    if (const auto* r = record.As<SetupItemHeader>()) return Listed(r->GetTextLines());
    if (const auto* r = record.As<InfoItemPrnLifeInfo>()) return Listed(r->GetTextLines());
    if (const auto* r = record.As<InfoItemPrnDeviceInfo>()) return Listed(r->GetTextLines());
    if (const auto* r = record.As<InfoItemPrnHeadInfo>()) return Listed(r->GetTextLines());
    if (const auto* r = record.As<ModuleItemPrnModuleList>()) return Listed(r->GetTextLines());
    if (const auto* r = record.As<SetupItemIDList>()) return Listed(r->GetIDs());
    if (const auto* r = record.As<LogosIDList>()) return Listed(r->GetIDs());
    if (const auto* r = record.As<ProtocollDataAvailable>()) return Show(r->Available, r->ToSave);
    if (const auto* r = record.As<ToolsData>()) return Show(r->uiTools1, r->uiTools2);
    if (const auto* r = record.As<unsigned char[]>()) return std::string(r, r + 5);
    if (const auto* r = record.As<UpgradeDataInfo>())
        return Show(int{r->iUpgradeMode}, r->strConfigurationSettings, r->iFamilyID, r->iModelID,
                    r->iCustomizationID);
    if (const auto* r = record.As<StatusData>()) return {r->pData.begin(), r->pData.end()};
    if (const auto* r = record.As<StatusInfoGenData>())
        return Show(r->statusPorts.iWays, r->uiSupportedMask, Bits(*r));
    if (const auto* r = record.As<StatusInfoExtData>())
        return Show(r->statusPorts.iWays, r->iNumBytes, Bits(*r));
    if (const auto* r = record.As<LogosType>()) {
        std::string kinds;
        for (const LogosInfo& kind : r->listLogosInfo)
            kinds +=
                ";" + Show(kind.iNumber1, kind.iMaxCount, kind.iFormat, +kind.bY, kind.iM1, kind.iNumber6,
                           kind.iWidth, kind.iHeight, +kind.bF, kind.iNumber10, kind.iNumber11);
        return Show(r->bPrintPreview, r->iNumMaxLogo, kinds);
    }
    if (const auto* r = record.As<LogoItem>())
        return Show(r->uiID, r->iType, r->strFileName, r->iWidth, r->iHeight,
                    std::string(r->pData.get(), r->pData.get() + r->uiDataSize));
    if (const auto* r = record.As<SetupItemTypeList>()) {
        std::string choices;
        for (const ListItem& choice : r->listItems) choices += ";" + Show(choice.strText, choice.uiValue);
        return Show(Item(*r), r->iStartValue, r->iDefaultValue, r->iCurrentValue, r->iValueToWrite, choices);
    }
    if (const auto* r = record.As<SetupItemTypeNumeric>())
        return Show(Item(*r), r->fMinimum, r->fMaximum, r->fStep, r->fDefault, r->fCurrent, r->fValueToWrite);
    if (const auto* r = record.As<SetupItemTypeDateTime>())
        return Show(Item(*r), Local(r->tCurrent), Local(r->tValueToWrite));
    if (const auto* r = record.As<SetupItemTypeString>())
        return Show(Item(*r), r->iMinLength, r->iMaxLength, r->uiDataMask, r->strDefault, r->strCurrent,
                    r->strTextToWrite);
    return "";
}

std::string ContentOf(const ProtocolRecord& record) {
    return Show(record.type(), MembersOf(record));
}

/// What became of an answer.
struct Decoded {
    ProtocolRecord record;
    Lines log;  ///< what the decoding said, as "[tag]text", from the second line on
    std::uint64_t dataErrors = 0;

    static std::string WithoutTag(const std::string& line) { return line.substr(line.find(']') + 1); }

    /// The last line, with the one before when an item's kind told the reason.
    std::string Last() const {
        const std::string last = log.empty() ? "" : WithoutTag(log.back());
        return last == "Extract Type Error" ? WithoutTag(log[log.size() - 2]) + "|" + last : last;
    }

    std::string Told() const {
        std::string text;
        std::string before = "[CreateSetupItem_Prot100]";
        for (const std::string& line : log) {
            const std::string tag = line.substr(0, line.find(']') + 1);
            text += (text.empty() ? "" : "|") + (tag == before ? WithoutTag(line) : line);
            before = tag;
        }
        return text;
    }
};

/// Descriptions of status bits come with delimiters, at which they fail (kept). For the rest of them to be
/// read the fields lose those unless `delimited`.
Decoded Decode(const std::string& bytes, bool delimited = false) {
    ProtocollFields fields;
    Decoded decoded;
    Split(fields, bytes);
    for (const auto& field : fields.Fields())
        if (bytes.find("<C12") == 1 && !delimited && field->iType == FTYPE_VSTRING_VALUE)
            field->strText = field->strText.substr(1, field->strText.size() - 2);
    LogCapture capture;
    decoded.record = ProtocolRecord::Decode(fields, nullptr, &decoded.dataErrors);
    decoded.log = capture.Take();
    decoded.log.erase(decoded.log.begin());
    return decoded;
}

Pieces With(Pieces pieces, std::size_t piece, const std::string& instead) {
    pieces.at(piece) = instead;
    return pieces;
}

void ExpectRefused(const std::string& bytes, const std::string& line) {
    const Decoded decoded = Decode(bytes);
    EXPECT_FALSE(decoded.record) << bytes;
    EXPECT_EQ(decoded.record.type(), OBJTYPE_NONE) << bytes;
    EXPECT_EQ(decoded.Last(), line) << bytes;
}

/// The answer with a field that is missing, of another type, a higher count, a wrong sum or there twice.
void ExpectBentRefused(const Pieces& good, std::size_t piece, char letter, const std::string& behind) {
    const auto at = static_cast<std::ptrdiff_t>(piece);
    const auto& [accepted, line] = kTypes.at(letter);
    std::string cut = Wire(Pieces(good.begin(), good.begin() + at));
    cut.pop_back();  // the ETX would be the wrong field itself
    ExpectRefused(cut, line + behind);
    for (const std::string& sample : PiecesOf("<7><x>x~<><DATABYTES>x</DATABYTES>"))
        if (accepted.find(sample) == std::string::npos)
            ExpectRefused(Wire(With(good, piece, sample)), line + behind);
    if (letter == '#') ExpectRefused(Wire(With(good, piece, "!")), "Checksum Error");
    if (letter == 'n' || letter == 't') {
        largest = 0;
        const int more = std::stoi(good[piece].substr(1)) + 1;
        const char element = letter == 't' ? 'T' : good[0].find("<C12") == 0 ? 'S' : 'I';
        for (const int count : {more, 2147483647})
            ExpectRefused(Wire(With(good, piece, "<" + std::to_string(count) + ">")),
                          kTypes.at(element).second + behind);
        EXPECT_LT(largest, 65536U) << "room for what is announced, not for what is there";
    }
    Pieces twice = good;
    twice.insert(twice.begin() + at, good[piece]);
    EXPECT_FALSE(Decode(Wire(twice)).record && good.back() == "#" && letter != '#') << Wire(twice);
}

std::string Replaced(const std::string& text, char letter, const std::string& by) {
    return std::regex_replace(text, std::regex("[\\" + std::string(1, letter) + "]"), by);
}

/// The answer with each of other fields in the place of one.
void ExpectBend(const std::string& good, std::size_t piece, const std::string& fields, std::string expected) {
    expected = Replaced(expected, '@', std::string(511, 't'));
    for (const std::string& instead : PiecesOf(Replaced(fields, '@', std::string(600, 't')))) {
        const Decoded decoded = Decode(Wire(With(PiecesOf(good), piece, instead)));
        std::string outcome = decoded.Last();
        if (decoded.record) {
            outcome = ContentOf(decoded.record);
            for (const std::string& line : decoded.log)
                if (line.find("DATA") != std::string::npos) outcome += "|" + Decoded::WithoutTag(line);
            if (decoded.dataErrors != 0) outcome += "|" + std::to_string(decoded.dataErrors);
        }
        const bool holds = expected[0] == '=';
        EXPECT_EQ(static_cast<bool>(decoded.record), holds) << instead;
        EXPECT_THAT(outcome, testing::HasSubstr(expected.substr(holds ? 1 : 0))) << instead;
    }
}

void ExpectGood(const std::string& answer, const std::string& types, std::string content,
                const std::string& log) {
    const Decoded decoded = Decode(Wire(answer));
    std::replace(content.begin(), content.end(), '~', '\0');
    EXPECT_THAT(ContentOf(decoded.record), testing::StartsWith(content));
    EXPECT_EQ(decoded.Told(), log);
    EXPECT_EQ(decoded.dataErrors, 0U);
    const Pieces pieces = PiecesOf(answer);
    std::size_t piece = 0;
    std::string behind;
    for (const char letter : types) {
        if (letter == '(' || letter == ')')
            behind = letter == '(' ? "|Extract Type Error" : "";
        else
            ExpectBentRefused(pieces, ++piece, letter, behind);
    }
    EXPECT_EQ(piece + 1, pieces.size());
}

TEST(Records, HoldWhatAGoodAnswerSaysAndNothingOfABentOne) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);  // a date in summer is on summer time
    std::istringstream lines(Replaced(kGoods + 1, '^', "\x02"));
    std::smatch good;
    std::string head;
    std::string log;
    for (std::string line; std::getline(lines, line);) {
        SCOPED_TRACE(line);
        const std::size_t arrow = line.find(" -> ");
        if (line[0] == '<') {
            head = line;
            log.clear();
            ASSERT_TRUE(std::regex_match(head, good, std::regex("(.*)  (.*)  (.*)")));
        } else if (line[0] == '|') {
            log += line.substr(2);
            if (lines.peek() != '|') ExpectGood(good[1], good[2], good[3], log);
        } else {
            ASSERT_NE(arrow, std::string::npos);
            const std::size_t fields = line.find(' ') + 1;
            ExpectBend(good[1], std::stoul(line), line.substr(fields, arrow - fields),
                       line.substr(arrow + 4));
        }
    }
}

TEST(Records, CountValuesOutOfRangeAndStay) {
    const std::string range = "|DATA Error - MinValue >= MaxValue ";
    const std::string step = "|DATA Error - StepValue";
    const std::string defBelow = "|DATA Error - DefValue < MinValue ";
    const std::string curBelow = "|DATA Error - CurValue < MinValue ";
    const std::string curAbove = "|DATA Error - CurValue > MaxValue ";
    const std::pair<std::string, std::string> cases[] = {
        // minimum, maximum, step, default, current
        {"<1><5><1><1><5>", ",1,5,1,1,5,5"},
        {"<5><5><0><5><5>", range + step + "|2"},
        {"<-5><5><-0.1><0><0>", step + "|1"},
        {"<1><5><1><0.9><0>", defBelow + curBelow + "|2"},
        {"<1><5><1><5.1><6>", "|DATA Error - DefValue > MaxValue " + curAbove + "|2"},
        {"<nan><5><1><1><nan>", range + defBelow + curBelow + curAbove + "|4"}};
    for (const auto& [numbers, outcome] : cases)
        ExpectBend("<C4><77><0><2>Name~<0>" + numbers + "#", 1, "<77>", "=" + outcome);
}

TEST(Records, NeedAFramedAnswerOfAKnownKindAndVersion) {
    ExpectRefused("", "FTYPE_STX Error");
    ExpectRefused("\x06", "FTYPE_STX Error");
    ExpectRefused("\x02<40><12>", "FTYPE_VCMDID_VALUE Error");
    for (const std::string unknown : {"<C5>", "<C139>", "<C012>"}) ExpectRefused(Wire(unknown + "<1>"), "");
    EXPECT_EQ(Decode(Wire("<C1><2.00>")).record.type(), OBJTYPE_PROTOCOLL_VERSION) << "kept";
    for (const std::string status : {"<C128><1><DATABYTES>1234</DATABYTES>", "<C129><1><8>"})
        EXPECT_EQ(Decode(Wire(status + "<1><1|0>"), true).Last(), "Add Byte/Bit Error");

    ProtocollFields fields;
    Split(fields, Wire("<C40><12>"));
    const ProtocollVersion version(200);
    LogCapture log;
    EXPECT_EQ(fields.CreateSetupItem(nullptr, &version, nullptr), nullptr);
    EXPECT_EQ(Joined(log.Take("CreateSetupItem")), "Current Protocoll Version : 200|End");
    OBJTYPE type = OBJTYPE_LOGO_ITEM;
    EXPECT_EQ(fields.CreateSetupItemType_Prot100(nullptr, &type), nullptr);
    EXPECT_EQ(type, OBJTYPE_NONE);
    Split(fields, "\x02<50>");
    EXPECT_EQ(fields.CreateLogoData_Prot100(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.Take().back(), "[CreateLogoData_Prot100]FTYPE_VCMDID_VALUE Error");
}

TEST(Records, AnItemsKindAdvancesTheCallersIndexAndSum) {
    ProtocollFields fields;
    const std::string kind = "d~<0><1><2><1><1><1>";
    Split(fields, Wire("<C4>" + kind + "<9>"));
    int index = 2;
    std::uint64_t sum = 1000;
    EXPECT_TRUE(std::unique_ptr<SetupItemTypeNumeric>(
        fields.ExtractIDInfo_TypeNumeric_Prot100(index, sum, nullptr, nullptr)));
    EXPECT_EQ(Show(index, sum), Show(9, 1000 + ByteSum(kind) - '~'));
    // The kind is told with the description, even when the item then fails.
    OBJTYPE type = OBJTYPE_NONE;
    index = 2;
    EXPECT_EQ(fields.ExtractIDInfo_TypeString_Prot100(index, sum, nullptr, &type), nullptr);
    EXPECT_EQ(type, OBJTYPE_ITEM_STRING);
    for (int outside : {-1, 10, 1000000})
        EXPECT_EQ(fields.ExtractIDInfo_TypeList_Prot100(outside, sum, nullptr, nullptr), nullptr);
}

// A list that sorts at each identifier, or an element that is compared with all before it, takes minutes
// here.
TEST(Records, TakeNoTimeForLongListsAndNoMoreThanTheFirstFields) {
    std::string ids = "<C49><100000>";
    std::string list = "<C4><1><0><1>d~<0><0><99999><0><100000>";
    for (int i = 100000; i > 0; --i) {
        ids += "<" + std::to_string(i) + ">";
        list += "x~";
    }
    ProtocollFields fields;
    for (const std::string& answer : {ids, list}) {
        Split(fields, Wire(Pieces{answer, "#"}));
        ProtocolRecord record = ProtocolRecord::Decode(fields);
        EXPECT_TRUE(record);
        EXPECT_EQ(record.As<ToolsData>(), nullptr);
        const ProtocolRecord other(std::move(record));
        EXPECT_TRUE(other && !record);
    }
    EXPECT_EQ(Split(fields, std::string(300000, '\x02')), static_cast<int>(ProtocollFields::kMaxFields));
}

TEST(ProtocollDataAvailable, AccessorsReachOneBitOfOneSet) {
    using Data = ProtocollDataAvailable;
    using Accessor = bool (Data::*)(bool, bool);
    const std::tuple<std::uint64_t, Accessor, Accessor> bits[] = {
        {0x01, &Data::SetupDataAvailable, &Data::SetupDataToSave},
        {0x02, &Data::LogoDataAvailable, &Data::LogoDataToSave},
        {0x04, &Data::UpgradeModulesAvailable, &Data::UpgradeModulesToSave},
        {0x08, &Data::FontsDataAvailable, &Data::FontsDataToSave},
        {0x10, &Data::ToolsAvailable, &Data::ToolsToSave},
        {0x20, &Data::UpgradePrinterAvailable, &Data::UpgradePrinterToSave},
        {0x80, &Data::StatusPrinterAvailable, &Data::StatusPrinterToSave}};
    for (const auto& [bit, available, toSave] : bits) {
        Data data;
        EXPECT_TRUE((data.*available)(false, true));
        EXPECT_EQ(Show(data.Available, data.ToSave), Show(bit, 0)) << bit;
        EXPECT_FALSE((data.*toSave)(true, true));
        data.ToSave = ~std::uint64_t{0};
        EXPECT_FALSE((data.*toSave)(false, false));
        EXPECT_EQ(Show(data.Available, data.ToSave), Show(bit, ~bit)) << bit;
    }
}

TEST(StatusRecords, DescribeBitsOnceInTheirPlace) {
    StatusInfoGenData general;
    general.uiSupportedMask = ~std::uint64_t{0};
    const std::string standard =
        ";1,0,0,Paper not present,,2;1,2,0,Near paper end,,1;1,5,0,Ticket present in output,,1;"
        "2,0,0,Thermal print head lifted,,1;2,1,0,Cover opened,,1;2,2,0,Spooling,,0;"
        "2,3,0,Drag motor rolling,,0;2,5,0,LF key pressed,,0;2,6,0,FF key pressed,,0;"
        "3,0,0,Head temperature Error,,2;3,1,0,COM Error,,2;3,3,0,Power supply voltage Error,,2;"
        "3,4,0,Wait char Timeout Error,,2;3,5,0,Command Error,,2;3,6,0,Paper jam,,2;"
        "4,0,0,Cutter Error,,2;4,2,0,RAM Error,,2;4,3,0,EEPROM Error,,2";
    EXPECT_EQ(Bits(general), standard);
    general.AddStatusBitInfoList({new StatusBitInfo(3, 1, 9, "Line noise", "more", 1),
                                  new StatusBitInfo(1, 7, 0, "late", "", 0), nullptr});
    EXPECT_EQ(general.bitList.All()[10]->iID, 9) << "in place";
    general.uiSupportedMask = 0x20080;
    EXPECT_EQ(Bits(general), ";1,7,0,late,,0;3,1,9,Line noise,more,1");
    general.InitWithStandardBits();
    EXPECT_EQ(general.bitList.All().size(), 18U);

    StatusInfoExtData extended;
    extended.iNumBytes = 2;
    EXPECT_FALSE(extended.AddStatusBitInfo(new StatusBitInfo(3, 0, 0, "beyond", "", 0)));
    extended.AddStatusBitInfoList(
        {new StatusBitInfo(2, 7, 0, "last", "", 0), new StatusBitInfo(1, 0, 0, "first", "", 0),
         new StatusBitInfo(1, 8, 0, "no bit", "", 0), new StatusBitInfo(0, 1, 0, "no byte", "", 0)});
    extended.iNumBytes = 2147483647;  // listing takes no longer however many are announced
    EXPECT_EQ(Bits(extended), ";1,0,0,first,,0;2,7,0,last,,0");
    for (int ways = 0; ways < 16; ++ways) {
        const StatusWayPorts ports(ways);
        EXPECT_EQ(Show(ports.AvailableStandardPort(), ports.AvailableUsb0Port(), ports.AvailableUdpPort(),
                       ports.Available()),
                  Show(ways % 2, ways / 2 % 2, ways / 4 % 2, ways % 8 != 0));
    }
}

TEST(StatusBitInfo, ParsesItsTexts) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"2|7", "2,7", ""},
        {"|3|1|", "3,1", ""},
        {"2|x", "2,0", "Error extracting byte value from |"},
        {"x|7", "0,0", "Error extracting byte value from x"},
        {"27", "0,0", "27"},
        {"1|2|3", "0,0", "1|2|3"}};
    for (const auto& [text, numbers, line] : cases) {
        StatusBitInfo info;
        LogCapture log;
        EXPECT_EQ(info.AddByteBit(text), *line == '\0');
        EXPECT_EQ(Show(info.iByte, info.iBit), numbers);
        EXPECT_EQ(Joined(log.Take("AddByteBit")), line);
        EXPECT_TRUE(info.AddId("12x") && info.AddSignal("2"));
        EXPECT_FALSE(info.AddId("<13>") || info.AddSignal("x"));
        EXPECT_EQ(Show(info.iID, info.iSignalFamily), "12,2");
        EXPECT_EQ(Joined(log.Take()), "[AddId]<13>|[AddSignal]x");
    }
}

}  // namespace
