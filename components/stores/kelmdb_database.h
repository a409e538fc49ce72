// KelMDB as a real Access 2000-2003 database (.mdb, Jet 4).
//
// CreateStore writes a new database at StoreFolder + StoreName (replacing
// whatever file is there) holding the engine's system tables and one table,
// "Capture", of two Text(255) columns named after PortTitle1 and PortTitle2
// (see FieldName). OpenStore, AppendRecord, CloseStore add one row of
// PortText1, PortText2; each character is one byte (ISO-8859-1), and a text
// longer than 255 characters keeps its first 255. Each row is in the file when
// AppendRecord returns, and on disk within DeferredSync::kDelay (at once at
// SyncStore). The file stays open from one record to the next, so a record
// costs its writes only. Every failure throws StoreError naming the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "components/stores/capture_store.h"
#include "components/stores/deferred_sync.h"
#include "components/stores/file_io.h"

namespace tvl {

namespace jet4 {
class Appender;
}

class KelMDBDatabase : public KelMDB {
public:
    static constexpr const char* kTableName = "Capture";
    static constexpr std::size_t kMaxText = 255;

    KelMDBDatabase();
    ~KelMDBDatabase() override;
    KelMDBDatabase(const KelMDBDatabase&) = delete;
    KelMDBDatabase& operator=(const KelMDBDatabase&) = delete;

    void CreateStore() override;
    void OpenStore() override;
    void AppendRecord() override;
    void CloseStore() override;
    void SyncStore() override;

    // The column name for a title (`position` 1 or 2). Characters a field
    // name cannot hold (control characters, . ! ` [ ] :) are dropped, leading
    // and trailing blanks trimmed, the rest cut to 64 characters; an empty
    // result becomes "Port1" / "Port2".
    static std::string FieldName(const std::string& title, int position);
    // Both column names: as FieldName, and a second name equal to the first
    // (letters compared without case) gets " (2)" appended.
    static std::pair<std::string, std::string> FieldNames(const std::string& title1,
                                                          const std::string& title2);

private:
    [[noreturn]] void Fail(const std::string& what, int err) const;
    void Release() noexcept;
    void Leave();
    void LeaveQuietly() noexcept;
    bool AsLeft(const std::string& file) const;

    int fd_ = -1;
    std::string fdPath_;
    mutable fileio::HeldFile held_;
    DeferredSync sync_;
    std::unique_ptr<jet4::Appender> appender_;
};

}  // namespace tvl
