// CleXDSmb: the one message of the system. Every request, every reply and every command is one block: an
// operation, an error code and a fixed set of typed slots, each of which may be empty. What the slots mean is
// the operation's affair.
//
// A block lives on the stack of one call and has one user. It owns all that it holds but the binary string,
// which is never released by the block: whoever takes it frees it with delete[].
//
// Its image, in host byte order, nothing aligned. The first word is all the framing there is:
//
//   length:4 commandAction:4 errorCode:4
//   LongData DoubleData StringData StructData          the lists, see payloads.h
//   count:4 LongData*  count:4 DoubleData*  count:4 StringData*
//   length:4 byte*                                     binary string
//   count:4 wide:4*                                    wide string, without terminator
//   length:4 byte*                                     void block
//
// GetVariableName(3), 56 bytes:
//   38 00 00 00  09 00 00 00  00 00 00 00              length 56, action 9, no error
//   01 00 00 00  03 00 00 00                           one integer: 3
//   00 00 00 00  x 9                                   nine empty slots
#ifndef CLEXDSMB_H
#define CLEXDSMB_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cell_records.h"
#include "frame_buffer.h"
#include "loan.h"
#include "payloads.h"
#include "vexa_api.h"

class VEXA_API CleXDSmb {
 public:
  // The operation of a block; each is named after the client function that sends it.
  enum class CommandAction : std::int32_t {
    None = -1,  // commands of the command channel, messages without an operation
    Submit = 0,
    IsBackendReady = 1,
    IsXDriven = 2,
    StopVexa = 4,
    QueueCommandPart = 5,
    PostVexaOutput = 6,
    GetVariableCount = 7,
    GetRowCount = 8,
    GetVariableName = 9,
    GetVariableLabel = 10,
    GetVariableType = 11,
    GetVariableFormat = 12,
    GetVariableMeasurementLevel = 13,
    CreateXPathDictionary = 14,
    RemoveXPathHandle = 15,
    EvaluateXPath = 16,
    GetXmlUtf16 = 20,
    GetImage = 21,
    GetSetting = 22,
    GetOMSTagList = 23,
    GetHandleList = 24,
    GetNumericValue = 25,
    GetStringValue = 26,
    NextCase = 27,
    RemoveCaseCursor = 28,
    GetVariableFormatType = 29,
    GetCursorPosition = 30,
    GetVarCMissingValues = 31,
    GetVarNMissingValues = 32,
    MakeCaseCursor = 33,
    HasCursor = 34,
    StartPivotTable = 35,
    AddOutlineFootnotes = 36,
    AddProcFootnotes = 37,
    AddTitleFootnotes = 38,
    HidePivotTableTitle = 39,
    PivotTableCaption = 40,
    AddCaptionFootnotes = 41,
    MinDataColumnWidth = 42,
    MaxDataColumnWidth = 43,
    AddDimension = 44,
    AddDimFootnotes = 45,
    SetFormatSpecCoefficient = 46,
    SetFormatSpecCoefficientSE = 47,
    SetFormatSpecCoefficientVar = 48,
    SetFormatSpecCorrelation = 49,
    SetFormatSpecGeneralStat = 50,
    SetFormatSpecMean = 51,
    SetFormatSpecCount = 52,
    SetFormatSpecPercent = 53,
    SetFormatSpecPercentNoSign = 54,
    SetFormatSpecProportion = 55,
    SetFormatSpecSignificance = 56,
    SetFormatSpecResidual = 57,
    SetFormatSpecVariable = 58,
    SetFormatSpecStdDev = 59,
    SetFormatSpecDifference = 60,
    SetFormatSpecSum = 61,
    AddNumberCategory = 62,
    AddStringCategory = 63,
    AddVarNameCategory = 64,
    AddVarValueDoubleCategory = 65,
    AddVarValueStringCategory = 66,
    AddCategoryFootnotes = 67,
    SetNumberCell = 68,
    SetStringCell = 69,
    SetVarNameCell = 70,
    SetVarValueDoubleCell = 71,
    SetVarValueStringCell = 72,
    AddCellFootnotes = 73,
    AddTextBlock = 74,
    SplitChange = 75,
    GetVexaOutputWidth = 76,
    GetSplitVariableNames = 77,
    StartProcedure = 78,
    EndProcedure = 79,
    SetVarNameAndType = 80,
    SetVarLabel = 81,
    SetVarCValueLabel = 82,
    SetVarNValueLabel = 83,
    SetVarCMissingValues = 84,
    SetVarNMissingValues = 85,
    SetVarMeasureLevel = 86,
    SetVarAlignment = 87,
    SetVarFormat = 88,
    CommitHeader = 89,
    CommitCaseRecord = 92,
    CommitNewCase = 93,
    EndChanges = 94,
    IsEndSplit = 95,
    GetVarAttributeNames = 96,
    GetDataFileAttributeNames = 97,
    GetVarAttributes = 99,
    GetDataFileAttributes = 100,
    SetVarAttributes = 102,
    GetRowCountInProcDS = 103,
    GetVariableCountInProcDS = 104,
    GetVariableFormatInProcDS = 105,
    GetVariableLabelInProcDS = 106,
    GetVariableMeasurementLevelInProcDS = 107,
    GetVariableNameInProcDS = 108,
    GetVariableTypeInProcDS = 109,
    GetVarAttributeNamesInProcDS = 110,
    GetDataFileAttributeNamesInProcDS = 111,
    GetVarAttributesInProcDS = 112,
    GetDataFileAttributesInProcDS = 113,
    GetVarCMissingValuesInProcDS = 114,
    GetVarNMissingValuesInProcDS = 115,
    GetVariableFormatTypeInProcDS = 116,
    HasProcedure = 117,
    GetWeightVar = 118,
    GetVEXALowHigh = 119,
    ResetDataPass = 120,
    AllocNewVarsBuffer = 121,
    SetOneVarNameAndType = 122,
    GetNValueLabels = 123,
    GetCValueLabels = 125,
    IsNeedCache = 127,
    GetSystemMissingValue = 128,
    ValidateVarName = 129,
    SetXDriveMode = 130,
    GetXDriveMode = 131,
    StartDataStep = 132,
    EndDataStep = 133,
    CreateDataset = 134,
    SetDatasetName = 135,
    GetNewDatasetName = 136,
    GetActive = 137,
    SetActive = 138,
    CopyDataset = 139,
    GetVexaDatasets = 140,
    GetOpenedVexaDatasets = 141,
    GetDatastepDatasets = 142,
    CloseDataset = 145,
    InsertVariable = 146,
    DeleteVariable = 147,
    GetVarCountInDS = 148,
    GetVarNameInDS = 149,
    SetVarNameInDS = 150,
    GetVarLabelInDS = 151,
    SetVarLabelInDS = 152,
    GetVarTypeInDS = 153,
    SetVarTypeInDS = 154,
    GetVarFormatInDS = 155,
    SetVarFormatInDS = 156,
    GetVarAlignmentInDS = 157,
    SetVarAlignmentInDS = 158,
    GetVarMeasurementLevelInDS = 159,
    SetVarMeasurementLevelInDS = 160,
    GetVarNMissingValuesInDS = 161,
    GetVarCMissingValuesInDS = 162,
    SetVarNMissingValuesInDS = 163,
    SetVarCMissingValuesInDS = 164,
    GetVarAttributesNameInDS = 165,
    GetVarAttributesInDS = 166,
    SetVarAttributesInDS = 167,
    DelVarAttributesInDS = 168,
    SetDataFileAttributesInDS = 169,
    GetVarNValueLabelInDS = 170,
    GetVarCValueLabelInDS = 172,
    SetVarNValueLabelInDS = 173,
    SetVarCValueLabelInDS = 174,
    DelVarValueLabelInDS = 175,
    DelVarNValueLabelInDS = 176,
    DelVarCValueLabelInDS = 177,
    InsertCase = 178,
    DeleteCase = 179,
    GetCaseCountInDS = 180,
    GetNCellValue = 181,
    GetCCellValue = 182,
    IsUTF8mode = 185,
    GetMultiResponseSetNames = 186,
    GetMultiResponseSet = 187,
    SetMultiResponseSetInDS = 188,
    GetMultiResponseSetNamesInProcDS = 189,
    GetMultiResponseSetInProcDS = 190,
    GetDataFileAttributeNamesInDS = 191,
    GetDataFileAttributesInDS = 192,
    GetMultiResponseSetNamesInDS = 193,
    GetMultiResponseSetInDS = 194,
    GetVarColumnWidthInDS = 195,
    SetVarColumnWidthInDS = 196,
    DelDataFileAttributesInDS = 198,
    DelMultiResponseSetInDS = 199,
    StopReceiveXdApiThread = 200,
    GetGraphic = 201,
    GetVEXALocale = 202,
    GetOutputLanguage = 203,
    SetOutputLanguage = 204,
    GetCLocale = 208,
    GetNestDepth = 209,
    GetHostAppNameAndVersion = 210,
    GetHostAppCopyright = 213,
    SetHostAppNameAndVersion = 214,
    SetHostAppCopyright = 215,
    GetFileHandles = 216,
    SetDateCell = 217,
    TransCode = 219,
    CommitManyCases = 220,
    FetchDatastep = 221,
    GetVariableRole = 222,
    GetVariableRoleInProcDS = 223,
    SetVarRole = 224,
    GetVarRoleInDS = 225,
    SetVarRoleInDS = 226,
    NextCaseBlock = 227,  // NextCase of a client that holds a cursor: a block of cases
    CommitDataSet = 228,
    GetQuillonServerMode = 229,
    SetQuillonServerMode = 230,
    SetGraphicsLabel = 231,
    SaveDataToTempFile = 232,
    GetDataFromTempFile = 233,
    GetSplitEndIndex = 234,
    SetMode = 235,
    GetRowCountInTempFile = 236,
    GetCaseValue = 237,
    SetCaseValue = 238,
    GetCaseLength = 239,
    GetVarObsIndex = 240,
    SetCacheInDS = 241,
    IsDistributedMode = 242,
    GetXmlUtf16Length = 243,
    IsUseOrFilter = 244,
    MoveVariables = 245,
    CreateSocket = 246,
    AcceptSocket = 247,
    GetTrendsInfoInDS = 248,
    GetSelectedRowCountInProcDS = 249,
  };

  // The bytes of every count, length and integer of an image.
  static constexpr int LONG_LEN = 4;

  CleXDSmb() = default;
  CleXDSmb(const CleXDSmb&) = delete;
  CleXDSmb& operator=(const CleXDSmb&) = delete;
  ~CleXDSmb();

  void SetCommandAction(CommandAction action) { commandAction = action; }
  CommandAction GetCommandAction() const { return commandAction; }
  void SetErrorCode(int code) { errorCode = code; }
  int GetErrorCode() const { return errorCode; }

  // Each setter of a list appends, unless its name or its argument says that it replaces.
  // The wire's integers are 32 bits wide: SetLong narrows without a word.
  void SetLong(long value) { longData.SetValue(static_cast<int>(value)); }
  LongData GetLongData() const { return longData; }
  LongData& GetLongDataRef() { return longData; }

  void SetDouble(double value) { doubleData.SetValue(value); }
  DoubleData GetDoubleData() const { return doubleData; }
  DoubleData& GetDoubleDataRef() { return doubleData; }

  void SetString(const std::string& text) { stringData.SetValue(text); }
  // Ignores a null text.
  void SetString(const char* text);
  // Takes exactly `length` bytes, zeros included. Ignores a null text; a negative length counts as 0.
  void SetString(const char* text, int length);
  // Makes `text` the only element; a null text leaves the list empty.
  void SetSingleString(const char* text);
  StringData GetStringData() const { return stringData; }
  StringData& GetStringDataRef() { return stringData; }
  std::string GetSingleString() const { return stringData.GetSingleString(); }

  // Replaces all records.
  void SetStruct(std::vector<dataSet> records) { structData.AssignValue(std::move(records)); }
  void SetStruct(dataSet record) { structData.SetValue(std::move(record)); }
  StructData GetStructData() const { return structData; }
  StructData& GetStructDataRef() { return structData; }

  void SetLongArray(LongData& list) { longArray.push_back(list); }
  void SetDoubleArray(DoubleData& list) { doubleArray.push_back(list); }
  void SetStringArray(StringData& list) { stringArray.push_back(list); }
  // Replace the list of lists.
  void SetLongArray(std::vector<LongData> lists) { longArray = std::move(lists); }
  void SetDoubleArray(std::vector<DoubleData> lists) { doubleArray = std::move(lists); }
  void SetStringArray(std::vector<StringData> lists) { stringArray = std::move(lists); }
  std::vector<LongData> GetLongArray() const { return longArray; }
  std::vector<DoubleData> GetDoubleArray() const { return doubleArray; }
  std::vector<StringData> GetStringArray() const { return stringArray; }
  std::vector<LongData>& GetLongArrayRef() { return longArray; }
  std::vector<DoubleData>& GetDoubleArrayRef() { return doubleArray; }
  std::vector<StringData>& GetStringArrayRef() { return stringArray; }

  // Copies a terminated wide string. The getter gives the block's own pointer, null when there is none.
  void SetwString(const wchar_t* text);
  wchar_t* GetwStringData() const { return wstringData; }

  // Copies `length` bytes. The getter gives the block's own pointer. A parsed binary string has one byte more
  // than its length in the image and its length is told in another slot: GetBinaryData's caller must know it
  // from there.
  void SetBinaryString(const char* bytes, int length);
  char* GetBinaryData() const { return binaryData; }

  // Takes over a pointer from malloc without copying.
  void SetVoidData(void* data, int length);
  // The block's own pointer and its length; valid until the block is cleared.
  void* GetVoidData(int& length) const;
  // Room for `size` bytes, to be filled by SaveDataIntoVoidData, which appends and does not check the room.
  void AllocVoidData(int size);
  void SaveDataIntoVoidData(const void* data, int length);

  // Builds the image anew. Always 0; an image that cannot be built (no memory, over 2 GiB) leaves GetSendBuf
  // with null.
  int ContructSendData();
  // The block's own image and its length.
  char* GetSendBuf(int& length) const;
  // Fills the block from an image that is trusted: its length word is not looked at, the walk goes by the
  // counts. Lists are appended to what the block holds. Always 0.
  int ParseBuf(void* image);

  // CleanUpAllData clears the lists and the void block; the wide string survives it (CleanUpwStringData is
  // empty), and the binary string is let go without being freed. CleanUp does the same and frees the image
  // and the wide string. Both keep the operation and the error code.
  void CleanUp();
  void CleanUpAllData();
  void CleanUpStringData() { stringData.CleanUp(); }
  void CleanUpwStringData() {}
  void CleanUpLongData() { longData.CleanUp(); }
  void CleanUpDoubleData() { doubleData.CleanUp(); }
  void CleanUpStructData();

  // --- Sending from where the bytes lie ---

  // Sends these bytes in the place of a void block of its own, these records in the place of its own list.
  // They stay their owner's, who may not free or move them while the block has them: until SendData has sent
  // it, or it is cleaned up or gone. More than a block holds (2 GiB) is found when the image is built.
  void LendVoidData(Loan bytes);
  void LendRecords(Loan image, std::size_t count);
  // The image as runs of bytes in the order of the wire: what is large stays where it lies. None where there
  // is no image, as with ContructSendData. Valid until the block is touched. GetSendBuf gives an image that
  // is one run.
  std::span<const std::string_view> BuildRuns();
  // As they were built last.
  std::span<const std::string_view> Runs() const { return {runs, run_count}; }

  // --- Receiving, for the transport and the case cursor ---

  // ParseBuf for bytes from outside: no byte beyond image + length is read; a count that runs past the end,
  // or past what memory is given to a peer's counts, stops the walk, and the slots behind it stay empty.
  // False, and the lists are empty, when memory runs out.
  bool ParseFrame(const char* image, std::size_t length);
  // The same for an image that lies in a buffer, which the block takes over: a void block is used where it
  // lies, aligned to 16 bytes.
  bool ParseFrame(FrameBuffer buffer, const char* image, std::size_t length);
  // How far behind an aligned address an image has to begin for its void block to be aligned, as far as the
  // first bytes of the image can tell.
  static std::size_t FrameShift(const char* image, std::size_t length);
  // Gives the block a buffer to receive into, for ReserveFrame to hand out again, enlarged if it has to be.
  // The data of the result is null when there is no memory.
  void OfferFrame(FrameBuffer buffer) { offered = std::move(buffer); }
  FrameBuffer ReserveFrame(std::size_t size);
  // From now on the records of a frame are left in it, for Records to walk, and make no list. Valid until the
  // lists are cleared.
  void ReadRecordsInPlace() { records_in_place = true; }
  CellRecords Records() const { return cellRecords; }
  // Moves the void block out: `data` lies inside the buffer that comes with it. A block of length 0 has null.
  struct VoidBlock {
    FrameBuffer buffer;
    char* data = nullptr;
    int length = 0;
  };
  VoidBlock TakeVoidBlock();

 private:
  static constexpr std::size_t kRuns = 4;  // head, records, tail, void block

  std::string_view VoidBytes() const;
  // Void blocks and lent records of that many bytes or more are not copied into it, and are runs of their
  // own.
  void Build(std::size_t apart);
  // Parses all sections and returns where the void block's bytes stand in the image; null without one.
  const char* ParseSections(ImageReader& reader);
  bool ParseBinaryString(ImageReader& reader);
  bool ParseWideString(ImageReader& reader);
  void FreeImage();
  bool ParseRecords(ImageReader& reader);
  bool KeepRecords(FrameBuffer& buffer);
  bool CopyVoidData(const char* bytes);
  void FreeVoidData();

  char* sendBuffer = nullptr;  // from malloc, or small_image
  std::int32_t sendLength = 0;
  std::int32_t binaryLength = 0;
  char* voidData = nullptr;  // from malloc, or inside `frame`
  std::int32_t voidDataLength = 0;
  CommandAction commandAction = CommandAction::None;
  std::int32_t errorCode = 0;
  LongData longData;
  DoubleData doubleData;
  StringData stringData;
  wchar_t* wstringData = nullptr;
  char* binaryData = nullptr;
  std::vector<LongData> longArray;
  std::vector<DoubleData> doubleArray;
  std::vector<StringData> stringArray;
  StructData structData;
  FrameBuffer frame;  // when it holds a buffer, voidData lies inside it
  FrameBuffer offered;
  Loan lent_void;
  Loan lent_records;
  std::size_t lent_record_count = 0;
  bool records_in_place = false;
  CellRecords cellRecords;
  FrameBuffer records_frame;  // where they lie
  std::string_view runs[kRuns];
  std::size_t run_count = 0;
  char small_image[128];  // room for the image of an ordinary request
};

#endif
