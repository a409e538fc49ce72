// The three capture stores. A record is two text columns of display text, one
// character per byte. A failing member throws StoreError, whose message names
// the file.
//
//   KelTVL  the native .tvl file: opened and closed for every record, read back
//   KelMDB  an MS Access database: opened and closed for every record
//   KelXLS  an MS Excel workbook: created at Setup OK, open until the program ends
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace tvl {

struct StoreError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The members all three share. StoreFolder ends with its "/".
class CaptureStore {
public:
    virtual ~CaptureStore() = default;

    std::string StoreFolder;
    std::string StoreName;
    std::string PortTitle1;
    std::string PortTitle2;
    std::string PortText1;  // the next record to write; on KelTVL the record last read
    std::string PortText2;

    // Ends this use of the store. What was written is in the file, so it
    // survives the program being killed, and it is on disk, so it survives a
    // power cut, within 100 ms (DeferredSync) or once SyncStore returns.
    virtual void CloseStore() = 0;
    // Everything written is on disk when this returns.
    virtual void SyncStore() {}

    std::string path() const { return StoreFolder + StoreName; }
};

class KelTVL : public CaptureStore {
public:
    // StoreFolder + StoreName, with ".tvl" added when the name lacks it
    // (review gives the name less its extension). Where no "<name>.tvl" is
    // there, a "<name>.TVL" (the extension in any case) is the capture, and
    // stays the capture for this name while it is there.
    std::string FilePath() const;
    virtual void OpenStore() = 0;
    // 1 starts a new file with the titles and the columns as its first record;
    // 0 appends the columns as the last record.
    virtual void AppendRecord(int mode) = 0;
    virtual void CountRecords() = 0;
    virtual double RecordCount() const = 0;  // data records + 2
    virtual void ReadTitles() = 0;
    // 1 rewinds; each 0 then reads the next record into PortText1, PortText2
    // and its time into PortTime.
    virtual void ReadRecord(int mode) = 0;

    // When a record was written, in microseconds since 1970-01-01 UTC; none for
    // a record of a file written before records carried their time.
    std::optional<std::int64_t> PortTime;
    // AppendRecord stamps a record with the present time, or, while this is
    // set (a capture being saved back), with PortTime as it stands.
    bool KeepPortTime = false;

private:
    mutable std::string foundFor_, found_;  // the name the other-case file was found for
};

class KelMDB : public CaptureStore {
public:
    virtual void CreateStore() = 0;
    virtual void OpenStore() = 0;
    virtual void AppendRecord() = 0;
};

class KelXLS : public CaptureStore {
public:
    virtual void CreateStore() = 0;
    virtual void AppendRecord() = 0;
};

}  // namespace tvl
