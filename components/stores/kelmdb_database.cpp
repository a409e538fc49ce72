#include "components/stores/kelmdb_database.h"

#include "components/stores/file_io.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <system_error>

#include "components/stores/jet4_appender.h"
#include "components/stores/jet4_catalog.h"

namespace tvl {

namespace {

constexpr std::size_t kMaxFieldName = 64;

bool forbiddenInName(unsigned char c) {
    return c < 0x20 || c == 0x7F || c == '.' || c == '!' || c == '`' || c == '[' || c == ']' ||
           c == ':';
}

std::string trimBlanks(std::string s) {
    const auto first = s.find_first_not_of(' ');
    if (first == std::string::npos) return {};
    const auto last = s.find_last_not_of(' ');
    return s.substr(first, last - first + 1);
}

// Lower case of an ISO-8859-1 character, for comparing names as Access does.
unsigned char lower(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned char>(c + 32);
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return static_cast<unsigned char>(c + 32);
    return c;
}

bool sameName(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (lower(static_cast<unsigned char>(a[i])) != lower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

const jet4::TableDef& captureTable() {
    static const jet4::TableDef def =
        jet4::userTableDef({KelMDBDatabase::kTableName, {"1", "2"}, 255});
    return def;
}

}  // namespace

KelMDBDatabase::KelMDBDatabase() = default;

KelMDBDatabase::~KelMDBDatabase() { LeaveQuietly(); }

void KelMDBDatabase::Release() noexcept {
    appender_.reset();
    if (fd_ >= 0) {
        sync_.watch(-1, {});
        ::close(fd_);
    }
    fd_ = -1;
}

// Leave, where a failure has been or cannot be reported.
void KelMDBDatabase::LeaveQuietly() noexcept {
    try {
        Leave();
    } catch (const StoreError&) {
    }
}

// Leaves the open file, what was written synced first.
void KelMDBDatabase::Leave() {
    if (fd_ < 0) return;
    try {
        sync_.syncNow();
    } catch (const StoreError&) {
        Release();
        throw;
    }
    Release();
}

// The database stays open from one record to the next: OpenStore checks that
// it is still as this object left it, so that the appender's pages need not
// be read again. (As with the .tvl
// file, a second writer of the same capture is not expected: a file replaced
// or grown is read again, a row written into the last page is not seen.)
bool KelMDBDatabase::AsLeft(const std::string& file) const {
    return appender_ && fdPath_ == file && held_.asLeft(fd_, file, appender_->fileSize());
}

void KelMDBDatabase::Fail(const std::string& what, int err) const {
    std::string msg = "KelMDB " + path() + ": " + what;
    if (err != 0) msg += ": " + std::string(std::strerror(err));
    throw StoreError(msg);
}

std::string KelMDBDatabase::FieldName(const std::string& title, int position) {
    std::string kept;
    for (char ch : title)
        if (!forbiddenInName(static_cast<unsigned char>(ch))) kept += ch;
    std::string name = trimBlanks(kept);
    if (name.size() > kMaxFieldName) name = trimBlanks(name.substr(0, kMaxFieldName));
    if (name.empty()) name = "Port" + std::to_string(position);
    return name;
}

std::pair<std::string, std::string> KelMDBDatabase::FieldNames(const std::string& title1,
                                                               const std::string& title2) {
    std::string a = FieldName(title1, 1);
    std::string b = FieldName(title2, 2);
    if (sameName(a, b)) b = trimBlanks(b.substr(0, kMaxFieldName - 4)) + " (2)";
    return {a, b};
}

void KelMDBDatabase::CreateStore() {
    Leave();
    const std::string file = path();
    const auto [name1, name2] = FieldNames(PortTitle1, PortTitle2);
    const jet4::Bytes image =
        jet4::buildDatabase({kTableName, {name1, name2}, kMaxText}, std::time(nullptr));

    // Written beside the target and renamed over it: the old file stays whole
    // until the new one is complete.
    const std::string_view bytes(reinterpret_cast<const char*>(image.data()), image.size());
    const fileio::Replaced done = fileio::replaceWhole(file, bytes, ".new");
    if (done.err)
        Fail(done.failedAt == fileio::Replaced::created   ? "cannot create the database"
             : done.failedAt == fileio::Replaced::written ? "cannot write the database"
                                                          : "cannot replace the file",
             done.err);
}

void KelMDBDatabase::OpenStore() {
    const std::string file = path();
    if (AsLeft(file)) return;
    Leave();
    fd_ = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (fd_ < 0) Fail("cannot open the database", errno);
    try {
        if (const int err = held_.hold(fd_)) throw std::system_error(err, std::generic_category());
        fdPath_ = file;
        std::uint8_t head[0x18] = {};
        const ssize_t n = ::pread(fd_, head, sizeof head, 0);
        if (n < 0) throw std::system_error(errno, std::generic_category());
        if (n != static_cast<ssize_t>(sizeof head) || head[0] != 0 || head[1] != 1 ||
            std::memcmp(head + 4, "Standard Jet DB", 16) != 0 || jet4::get32(head + 0x14) != 1)
            throw jet4::FormatError("not an Access 2000-2003 database");
        appender_ = std::make_unique<jet4::Appender>(fd_, jet4::kUserTablePage);
        sync_.watch(fd_, file);
    } catch (const jet4::FormatError& e) {
        Release();
        Fail(std::string("not a capture database (") + e.what() + ")", 0);
    } catch (const std::system_error& e) {
        Release();
        Fail("cannot read the database", e.code().value());
    } catch (const StoreError&) {
        Release();
        throw;
    }
}

void KelMDBDatabase::AppendRecord() {
    if (!appender_) Fail("the database is not open", 0);
    const auto cut = [](const std::string& s) {
        return s.size() > kMaxText ? s.substr(0, kMaxText) : s;
    };
    const jet4::Bytes row = jet4::encodeRow(
        captureTable(), {jet4::Value::text(cut(PortText1)), jet4::Value::text(cut(PortText2))});
    try {
        sync_.check();
        appender_->append(row);
    } catch (const jet4::FormatError& e) {
        LeaveQuietly();  // the next OpenStore reads the file as the failure left it
        Fail(std::string("cannot append (") + e.what() + ")", 0);
    } catch (const std::system_error& e) {
        LeaveQuietly();
        Fail("cannot append the record", e.code().value());
    }
    sync_.written();
}

// The file stays open for the next record; what was written reaches the
// disk within DeferredSync::kDelay.
void KelMDBDatabase::CloseStore() { sync_.check(); }

void KelMDBDatabase::SyncStore() { sync_.syncNow(); }

}  // namespace tvl
