// An answer's bytes to its fields and to its record: one good answer for each kind, with what it holds and
// what is said of it, and what becomes of it when it is bent at each of its fields.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <numeric>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "harness/LogCapture.h"
#include "protocol/LogoItem.h"
#include "protocol/LogosIDList.h"
#include "protocol/ProtocolRecord.h"
#include "protocol/ProtocollDataAvailable.h"
#include "protocol/ProtocollFields.h"
#include "protocol/SetupItemIDList.h"
#include "protocol/SetupItemTypeList.h"
#include "protocol/StatusData.h"
#include "protocol/StatusInfoExtData.h"
#include "protocol/StatusInfoGenData.h"
#include "protocol/UpgradeDataInfo.h"

namespace {

/// An answer between its STX and its ETX, one text for each field. Answers are written as on the wire, with
/// "~" for a zero byte and "#" for the field of the answer sum ("!" for a wrong one).
using Pieces = std::vector<std::string>;

/// The parts of a text that match, one after the other.
std::vector<std::string> Matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), expression), std::sregex_token_iterator()};
}

Pieces PiecesOf(const std::string& answer) {
    return Matches(answer, "<DATABYTES>.*?</DATABYTES>|<[^>]*>|[#!]|[^~]*~");
}

std::uint64_t ByteSum(const std::string& bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), std::uint64_t{0},
                           [](std::uint64_t sum, unsigned char byte) { return sum + byte; });
}

/// The bytes that the printer sends.
std::string Wire(const Pieces& pieces) {
    std::string bytes = "\x02";
    std::uint64_t sum = 0;
    for (std::string piece : pieces) {
        std::replace(piece.begin(), piece.end(), '~', '\0');
        if (piece == "#") piece = "<" + std::to_string(sum % 256) + ">";
        if (piece == "!") piece = "<" + std::to_string(sum % 256 ^ 1U) + ">";
        if (piece != "<>") sum += ByteSum(piece);  // an empty field counts for nothing
        bytes += piece;
    }
    return bytes + "\x03";
}
std::string Wire(const std::string& answer) {
    return Wire(PiecesOf(answer));
}

int Split(ProtocollFields& fields, const std::string& bytes) {
    const std::vector<unsigned char> answer(bytes.begin(), bytes.end());
    return fields.CreateFields(answer.data(), static_cast<int>(answer.size()));
}

TEST(CreateFields, GivesAFieldItsTypeTextNumbersAndSum) {
    std::string every;
    for (int i = 0; i < 256; ++i) every += static_cast<char>(i);
    const std::tuple<std::string, FTYPE, std::string, int, float> cases[] = {
        {"<12>", FTYPE_VINT_VALUE, "<12>", 12, 12.0F},
        {"<<007>", FTYPE_VINT_VALUE, "<<007>", 7, 7.0F},
        {"<99999999999999999999>", FTYPE_VINT_VALUE, "<99999999999999999999>", 0, 1e20F},
        {"<a%b\x1F\x7F\xFF~ >", FTYPE_VSTRING_VALUE, "<a b   ~ >", 0, 0.0F},
        {std::string("<a\0b>", 5), FTYPE_VSTRING_VALUE, "<a", 0, 0.0F},
        {std::string("a<1>\x03\x15%\0", 8), FTYPE_STRING_VALUE, "a<1>   ", 0, 0.0F},
        {"<DATABYTES>" + every + "</DATABYTES>", FTYPE_VDATABYTES, "", 0, 0.0F}};
    for (const auto& [sent, type, text, value, number] : cases) {
        ProtocollFields fields;
        ASSERT_EQ(Split(fields, "\x02<C4>" + sent + "<1>"), 4);
        const ProtocollFieldInfo& field = *fields.Fields()[2];
        EXPECT_EQ(std::tuple(field.iType, field.strText, field.iValue), std::tuple(type, text, value));
        EXPECT_FLOAT_EQ(field.fValue, number);
        EXPECT_EQ(field.uiSum, ByteSum(sent));
        // Data come without what encloses them.
        EXPECT_EQ(std::string(field.pRawData.get(), field.pRawData.get() + field.uiRawSize),
                  type == FTYPE_VDATABYTES ? sent.substr(11, sent.size() - 23) : sent);
    }
    ProtocollFields fields;
    EXPECT_EQ(Split(fields, std::string(300000, '\x02')), static_cast<int>(ProtocollFields::kMaxFields));
}

TEST(CreateFields, LogsEveryKindAndLeavesOutWhatIsNone) {
    const std::pair<std::string, std::string> cases[] = {
        {"\x02<C40><12>\x06\x15<><a><skipped<DATABYTES>xyz</DATABYTES>t" + std::string("\0\x03", 2),
         "Begin|Found Field: Value CMD: <C40>|Found Field: Value INT: <12>|Found Field: Value STRING: <a>|"
         "Found Field: Value BINARY: Size=3|Found Field: Value TEXT: t|Fields Found: Begin| -> [STX]| -> "
         "<C40>|"
         " -> <12>| -> [ACK]| -> [NACK]| -> | -> <a>| -> DATABYTES size 3| -> t| -> [ETX]|Fields Found: End|"
         "End"},
        {"abc<1>\x06\x15\x03", " -> [ACK]| -> [NACK]| -> [ETX]|Fields Found: End|End"},
        {"\x02<C4><12", "Begin| -> [STX]| -> <C4>|Fields Found: End|End"},
        {"\x02<C4><DATABYTES>xyz</DATABYTES", "Begin| -> [STX]| -> <C4>|Fields Found: End|End"},
    };
    ProtocollFields fields;
    LogCapture log;
    for (const auto& [bytes, lines] : cases) {
        Split(fields, bytes);
        EXPECT_THAT(Joined(log.Take("CreateFields")), testing::EndsWith(lines));
    }
}

TEST(ToolAnswer, GivesItsLinesOrNothing) {
    const std::pair<std::string, std::string> cases[] = {{Wire("<C81><SB><2>one~two~#"), "one two "},
                                                         {Wire("<C81><SB><2>one~two~!"), ""},
                                                         {Wire("<C81><SB><2>one~#"), ""},
                                                         {Wire("<C81><XX><0>#"), ""},
                                                         {"\x02<C81>\x06\x03", ""},
                                                         {"\x02<C81>\x15\x03", ""}};
    for (const auto& [bytes, expected] : cases) {
        ProtocollFields fields;
        Split(fields, bytes);
        char** const lines = fields.CreateToolAnswer(nullptr);
        std::string text;
        for (char** line = lines; lines != nullptr && *line != nullptr; ++line)
            text += *line + std::string(" ");
        EXPECT_EQ(text, expected);
        ProtocollFields::DeleteToolAnswer(lines);
    }
}

TEST(CheckAnswer, GivesResultCodeAndLog) {
    const std::string known = "|Error Code {0} from printer (SW Code {1})";
    const std::tuple<std::string, const char*, std::string> cases[] = {
        // what the printer sent; the result and the code, 0 where it is left alone; what is said
        {"\x06", "1 13", "|FTYPE_STX Error"},
        {"\x02", "1 13", "|Command ID Error"},
        {"\x02<C5>\x06\x03", "0 0", "|FTYPE_NACK Not Found|End"},
        {"\x02<C5>\x15<23>\x03", "0 0", "|Error Code Not OK|End"},
        {"\x02<C5>\x15<ERR22>\x03", "1 0", "|Error Code 22 not recognized"},
        {"\x02<C5>\x15<ERR23>\x03", "1 23", known},
        {"\x02<C5>\x15<" + std::string(100000, 'E') + ">\x03", "1 101", known},
    };
    for (const auto& [bytes, outcome, lines] : cases) {
        ProtocollFields fields;
        Split(fields, bytes);
        PrinterSetError error;
        error.iErrorCode = 0;
        LogCapture log;
        const int result = fields.CheckAnswer(&error);
        EXPECT_EQ(std::to_string(result) + " " + std::to_string(error.iErrorCode), outcome);
        EXPECT_EQ(Joined(log.Take("CheckAnswer")), "Begin" + lines);
    }
}

TEST(CreateStandardPacketBuffer, CarriesDataForTheStatusTagsWithin1024Bytes) {
    constexpr int kFullest = 1024 - 2 - 6 - 11 - 12;
    const std::string data(kFullest, 'd');
    const std::tuple<int, int, const char*, std::string> cases[] = {
        {4, 1, "<C138>", "\x02<C138><DATABYTES>ddd</DATABYTES>\x03"},
        {2, 4, "<C138>", "\x02<C138><DATABYTES></DATABYTES>\x03"},
        {4, 1, "<C5>", "\x02<C5>\x03"},
        {kFullest, 0, "<C139>", "\x02<C139><DATABYTES>" + data + "</DATABYTES>\x03"},
        {kFullest + 1, 0, "<C138>", ""},
        {5, -1, "<C138>", ""},
        {0, 0, nullptr, ""}};
    for (const auto& [end, begin, tag, expected] : cases) {
        int length = -1;
        const OwnedBytes packet(ProtocollFields().CreateStandardPacketBuffer(
            reinterpret_cast<const unsigned char*>(data.data()), end, begin, tag, &length));
        EXPECT_EQ(std::string(packet.get(), packet.get() + length), expected);
    }
}

/// Good answers. Each further line puts other fields, one after the other, in the place of one. "^" is an
/// STX,
/// "$" a byte 0xFF, "@" a text of 600 letters. What becomes of each, and of each good one that is bent at
/// each of its fields, is recorded: conversations/records.txt.
const char* const kGoods = R"(
<C1><1.00>
1 <0.00>
1 <2.00><1.01><a>
<C2><2>first 50%~second~
<C32><2>first~second~
<C33><2>first~second~
<C35><2>first~second~
<C64><2>first~second~
<C3><3><7><4294967295><5>#
<C4><77><0><1>Name~<0><10><11><12><3>slow~fast~best~#
5 <1>
6 <2147483647>
8 <9>
11 @~
<C4><77><1><H><4000000000><9><2>Name~<7>more~<1><9.5><0.5><2><3>#
3 <H,D,H>,~<D,H><H,D><D,D><D>
6 <5>
8 <0>
10 <9.5><nan>
11 <2>
12 <0><-0.5><nan>
13 <9.6>
<C4><77><0><3>Name~<0><0124-06-15 10:20:30>#
6 <0070-01-01 00:59:59>
6 0124-06-15 10:20:30~<0124><a><7><-124-06-15 10:20:30><9999-06-15 10:20:30>
6 <0124-0:-15 10:20:30><0124-13-15 10:20:30><0124-00-15 10:20:30><0124-06-32 10:20:30>
<C4><77><0><4>Name~<0><1><20><255>def~cur~#
8 <0><4294967296><x>
<C40><4294967295>
<C48><2><1><5><BMP><Y><M1><6><F 640X48><10><11><2><9><RAW><N><M2><7><640><0><1><Y>
<C49><3><7><3><4000000000>#
<C50><3><BMP24>logo.bmp~<640x48><5><DATABYTES><^~>x</DATABYTES>#
2 <PNG>
4 <640x><6x4x2>
5 <6>
<C80><10><4294967295>
<C96><5><DATABYTES>^<~x></DATABYTES>#
1 <4294967295>
<C112><u3><><12;3;0>
1 <U7><U33>
2 <a;b>
2 < >
3 <7;;8x;-9>
3 <12;3><1;2;3;4><1;x;3><1;2;99999999999999999999>
<C128><6><DATABYTES>a!~`</DATABYTES><3><1|0><41 >text~<5>more~<2 ><1|6><42 >last~<0><1 ><1|8><43 >none~<0><1 >
2 <DATABYTES>12345</DATABYTES><DATABYTES>$$$$</DATABYTES>
3 <0>
4 <x|7>
4 <1|2|3>
5 <x>
9 <x>
<C129><1><8><2><1|0><41 >text~<0><2 ><9|0><42 >beyond~<0><2 >
4 <|2|7|>
<C138><DATABYTES>1<~3</DATABYTES>
1 <DATABYTES>12345</DATABYTES>
)";

template <class First, class... Rest>
std::string Show(const First& first, const Rest&... rest) {
    std::ostringstream out;
    out << first;
    ((out << ',' << rest), ...);
    return out.str();
}

template <class Record>
std::string Bits(const Record& record) {
    std::string text;
    for (const StatusBitInfo* bit : record.GetOnlyBitsAvailable())
        text += ";" + Show(bit->iByte, bit->iBit, bit->iID, bit->strDescription,
                           bit->strAdditionalDescription, bit->iSignalFamily);
    return text;
}

/// The members of the record.
std::string MembersOf(const ProtocolRecord& record) {
    if (const auto* r = record.As<std::uint64_t>()) return Show(*r);
    if (const auto* r = record.As<LogosIDList>()) return Show(r->GetIDs().front(), r->GetIDs().back());
    if (const auto* r = record.As<SetupItemIDList>()) return Show(r->GetIDs().front(), r->GetIDs().back());
    if (const auto* r = record.As<ProtocollDataAvailable>()) return Show(r->Available, r->ToSave);
    if (const auto* r = record.As<unsigned char[]>()) return std::string(r, r + 5);
    if (const auto* r = record.As<UpgradeDataInfo>())
        return Show(int{r->iUpgradeMode}, r->strConfigurationSettings, r->iFamilyID, r->iModelID,
                    r->iCustomizationID);
    if (const auto* r = record.As<StatusData>()) return {r->pData.begin(), r->pData.end()};
    if (const auto* r = record.As<StatusInfoGenData>())
        return Show(r->statusPorts.iWays, r->uiSupportedMask, Bits(*r));
    if (const auto* r = record.As<StatusInfoExtData>())
        return Show(r->statusPorts.iWays, r->iNumBytes, Bits(*r));
    if (const auto* r = record.As<LogoItem>())
        return Show(r->uiID, r->iType, r->strFileName, r->iWidth, r->iHeight,
                    std::string(r->pData.get(), r->pData.get() + r->uiDataSize));
    if (const auto* r = record.As<SetupItemTypeList>()) {
        std::string choices;
        for (const auto& link : r->listLinks)
            choices +=
                ";" + Show(link.uiIDSource, link.iViewOperation, link.iViewOperation2, link.iLinkIDValue);
        for (const ListItem& choice : r->listItems) choices += ";" + Show(choice.strText, choice.uiValue);
        return Show(r->uiID, +r->iType, r->strDescription, r->strAdditionalDescription, r->iStartValue,
                    r->iDefaultValue, r->iCurrentValue, r->iValueToWrite, choices);
    }
    return "";
}

/// What became of an answer.
struct Decoded {
    std::string content;  ///< kind and members of the record; kind 0 without one
    bool holds = false;   ///< whether there is a record
    Lines log;            ///< what was said, from the second line on
    std::uint64_t dataErrors = 0;

    /// The last two lines, each behind a "|".
    std::string Last() const {
        std::string text;
        for (std::size_t i = log.size() > 2 ? log.size() - 2 : 0; i < log.size(); ++i)
            text += "|" + std::regex_replace(log[i], std::regex("^\\[\\w+\\]"), "");
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
    const ProtocolRecord record = ProtocolRecord::Decode(fields, nullptr, &decoded.dataErrors);
    decoded.holds = static_cast<bool>(record);
    decoded.content = Show(record.type(), MembersOf(record));
    decoded.log = capture.Take();
    decoded.log.erase(decoded.log.begin());
    return decoded;
}

Pieces With(Pieces pieces, std::size_t piece, const std::string& instead) {
    pieces.at(piece) = instead;
    return pieces;
}

std::string Replaced(const std::string& text, char letter, const std::string& by) {
    return std::regex_replace(text, std::regex("[\\" + std::string(1, letter) + "]"), by);
}

/// What became of an answer, in words: what is said otherwise than of a usual one, and what the record holds.
std::string Outcome(const Decoded& decoded, const Lines& usual = {}) {
    std::string text, tag;
    for (const std::string& line : decoded.log) {
        if (std::find(usual.begin(), usual.end(), line) != usual.end()) continue;
        const std::size_t end = line.find(']') + 1;
        text += "|" + (line.substr(0, end) == tag ? line.substr(end) : line);
        tag = line.substr(0, end);
    }
    text += " = " + decoded.content;
    return decoded.dataErrors == 0 ? text : text + " with errors: " + std::to_string(decoded.dataErrors);
}

/// What becomes of a good answer that is cut before a field, or has another one in its place: of another
/// type, with a count of one more or far too many, with a wrong sum. Fields that end alike stand together.
std::string Bent(const Pieces& good, std::size_t piece) {
    std::string cut = Wire(Pieces(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(piece)));
    cut.pop_back();  // the ETX would be the wrong field itself
    const std::string more = "<" + std::to_string(std::atoi(good[piece].c_str() + 1) + 1) + ">";
    std::map<std::string, std::string> fields{{Decode(cut).Last(), " cut"}};
    for (const std::string& field : PiecesOf("<7><x>x~<><DATABYTES>x</DATABYTES>" + more + "<2147483647>!")) {
        const Decoded decoded = Decode(Wire(With(good, piece, field)));
        fields[decoded.holds ? "holds" : decoded.Last()] += " " + field;
    }
    std::string text = "; " + std::to_string(piece);
    for (const auto& [end, which] : fields) text += which + " -> " + end + ",";
    return text;
}

TEST(Records, HoldWhatAGoodAnswerSaysAndNothingOfABentOne) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);  // a date in summer is on summer time
    std::istringstream lines(Replaced(Replaced(kGoods + 1, '^', "\x02"), '$', "\xFF"));
    Pieces good;
    std::string said;
    Lines usual;
    for (std::string line; std::getline(lines, line); said += '\n') {
        SCOPED_TRACE(line);
        if (line[0] == '<') {
            const Decoded decoded = Decode(Wire(good = PiecesOf(line)));
            EXPECT_TRUE(decoded.holds && decoded.dataErrors == 0);
            said += good[0] + Outcome(decoded) + "\nbent";
            for (std::size_t piece = 1; piece < good.size(); ++piece) said += Bent(good, piece);
            usual = decoded.log;
            continue;
        }
        const std::string fields = line.substr(line.find(' ') + 1);
        for (const std::string& field : PiecesOf(Replaced(fields, '@', std::string(600, 't'))))
            said += std::to_string(std::atoi(line.c_str())) + " " + field.substr(0, 40) +
                    Outcome(Decode(Wire(With(good, std::stoul(line), field))), usual) + "; ";
    }
    std::replace_if(
        said.begin(), said.end(), [](char each) { return each != '\n' && (each < ' ' || each > '~'); }, '~');
    ExpectRecorded("records", said);
}

TEST(Records, NeedAFramedAnswerAndBitsWithoutDelimiters) {
    EXPECT_EQ(Decode("").Last(), "|FTYPE_STX Error");
    EXPECT_EQ(Decode("\x02<40><12>").Last(), "|FTYPE_VCMDID_VALUE Error");
    for (const std::string status : {"<C128><1><DATABYTES>1234</DATABYTES>", "<C129><1><8>"})
        EXPECT_THAT(Decode(Wire(status + "<1><1|0>"), true).Last(), testing::EndsWith("|Add Byte/Bit Error"));
}

}  // namespace
