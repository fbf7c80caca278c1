#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/ProtocollFieldInfo.h"
#include "protocol/ProtocollVersion.h"

enum OBJTYPE : std::uint32_t;
class LogoItem;
class SetupItemType;
class SetupItemTypeDateTime;
class SetupItemTypeList;
class SetupItemTypeNumeric;
class SetupItemTypeString;

/// Why a printer refused: filled by ProtocollFields::CheckAnswer.
struct PrinterSetError {
    /// The code that CheckAnswer stores for an answer that is not framed as one.
    static constexpr std::int32_t kFraming = 13;

    std::int32_t iErrorCode = 0;  ///< kFraming, or the code that the printer gave; 0 when none was stored
};

/// An answer split into its fields, and the record that the fields describe.
///
/// Answers are not trusted: a list that ends early and a count or a size that promises more than there is end
/// in a log line and a null result; a number that does not fit 32 bits is converted as ParseInt does, and a
/// long text is cut where the record's is. Time and memory grow with the answer alone. No operation throws.
class ProtocollFields {
 public:
    /// The fields that one answer may have. What follows them is not split.
    static constexpr std::size_t kMaxFields = 1U << 18U;

    ProtocollFields() = default;
    ProtocollFields(const ProtocollFields&) = delete;
    ProtocollFields& operator=(const ProtocollFields&) = delete;

    /// Splits an answer of `length` bytes, replacing the fields of the last one. Returns the number of
    /// fields. What is no field, or is not ended, is left out; nothing makes it fail.
    int CreateFields(const unsigned char* answer, int length);

    /// Checks the fields as the reply to a request. 0: accepted, which is everything but a NACK with an error
    /// field. 1: not framed as an answer (`error` holds 13), or refused (`error` holds the printer's code
    /// when that is above 22, and is unchanged otherwise).
    int CheckAnswer(PrinterSetError* error);
    int CheckAnswer();

    /// The request packet of `tag`: STX, the tag, for "<C138>" and "<C139>" alone the bytes of `data` from
    /// offset `begin` up to, not including, `end` as a binary block, ETX. Returns a buffer of `*length` bytes
    /// that the caller releases with `free`; null, and 0 in `*length`, when the packet would exceed 1024
    /// bytes or an argument is missing.
    unsigned char* CreateStandardPacketBuffer(const unsigned char* data, int end, int begin, const char* tag,
                                              int* length);

    /// The text lines of a tool's answer, as many as the answer's integer field says, followed by a null
    /// pointer. The caller releases the texts and the array with `free` (DeleteToolAnswer does both). Null on
    /// any error. `lines` is not written (kept).
    char** CreateToolAnswer(int* lines);
    static void DeleteToolAnswer(char** answer);

    /// Makes the record that the answer describes in `version` of the protocol (1.00 when null) and tells its
    /// kind in `*type`. `*dataErrors`, which may be missing, grows by one for each value of a setup item
    /// outside its range. The caller owns the record and deletes it by its kind (DeleteSetupItem, or
    /// ProtocolRecord from the start). Null on any failure, with 0 in `*type`; a protocol version that the
    /// program does not speak is null with the version's kind (kept).
    void* CreateSetupItem(std::uint64_t* dataErrors, const ProtocollVersion* version, OBJTYPE* type);
    void* CreateSetupItem_Prot100(std::uint64_t* dataErrors, OBJTYPE* type);

    /// The setup item that "<C4>" describes, read from the first field on. The caller deletes it by its kind,
    /// since the base has no virtual destructor.
    SetupItemType* CreateSetupItemType_Prot100(std::uint64_t* dataErrors, OBJTYPE* type);

    /// What "<C4>" says about an item of one kind, from field `index` on. `index` and the running answer sum
    /// `sum` advance over the fields consumed. The caller owns the item; null on failure. `*type` is set as
    /// soon as the item's description is read, whatever follows.
    SetupItemTypeList* ExtractIDInfo_TypeList_Prot100(int& index, std::uint64_t& sum,
                                                      std::uint64_t* dataErrors, OBJTYPE* type);
    SetupItemTypeNumeric* ExtractIDInfo_TypeNumeric_Prot100(int& index, std::uint64_t& sum,
                                                            std::uint64_t* dataErrors, OBJTYPE* type);
    SetupItemTypeDateTime* ExtractIDInfo_TypeDateTime_Prot100(int& index, std::uint64_t& sum,
                                                              std::uint64_t* dataErrors, OBJTYPE* type);
    SetupItemTypeString* ExtractIDInfo_TypeString_Prot100(int& index, std::uint64_t& sum,
                                                          std::uint64_t* dataErrors, OBJTYPE* type);

    /// The logo that "<C50>" carries, read from the first field on. The caller owns it; null on failure.
    LogoItem* CreateLogoData_Prot100(std::uint64_t* dataErrors, OBJTYPE* type);

    /// The fields of the last answer, in its order.
    const ProtocollFieldList& Fields() const { return listFields; }

 private:
    ProtocollFieldList listFields;
};
