// The settings store in SQLite: one database per user, a read-only system-wide one.
#include "foundation/XRegistry.h"
#include "foundation/XRegistryStore.h"
#include "sdk/tv_text.h"

#include <sqlite3.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

namespace {

// One open database, kept for the calls of one thread while its file stays the same file.
struct Connection {
  sqlite3* db = nullptr;
  std::string file;
  dev_t device = 0;
  ino_t inode = 0;
  pid_t owner = 0;
  bool broken = false;

  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  // A child made by fork must not close its parent's connection.
  ~Connection() {
    if (db && owner == getpid()) sqlite3_close_v2(db);
  }
};

}  // namespace

struct XRegKey {
  std::shared_ptr<Connection> connection;
  sqlite3* db = nullptr;
  int64_t id = 0;  // 0 is the root of the database
  bool writable = false;
};

namespace XRegStore {
namespace {

constexpr long Busy = -1;  // internal: try again
constexpr int BusyTimeoutMs = 5000;
constexpr auto GiveUpAfter = std::chrono::seconds(60);

const char* const SchemaSql =
    "CREATE TABLE IF NOT EXISTS keys("
    " id INTEGER PRIMARY KEY,"
    " parent INTEGER NOT NULL,"
    " name TEXT NOT NULL COLLATE NOCASE,"
    " UNIQUE(parent, name));"
    "CREATE TABLE IF NOT EXISTS vals("
    " key INTEGER NOT NULL,"
    " name TEXT NOT NULL COLLATE NOCASE,"
    " type INTEGER NOT NULL,"
    " data BLOB NOT NULL,"
    " UNIQUE(key, name));"
    "PRAGMA user_version = 1;";

long FromSqlite(int rc) {
  switch (rc & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return Ok;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return Busy;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      return BadDatabase;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return AccessDenied;
    default:
      return IoFailed;
  }
}

// Names are kept as UTF-8; a lone surrogate is encoded like any other unit, so that every
// UTF-16 name comes back exactly. The collation folds ASCII letters only, as names compare.
std::string ToStoreText(std::u16string_view text) {
  std::string out(tv_utf16_to_utf8(text.data(), text.size(), nullptr, 0, TV_TEXT_KEEP), '\0');
  tv_utf16_to_utf8(text.data(), text.size(), out.data(), out.size(), TV_TEXT_KEEP);
  return out;
}

std::u16string FromStoreText(const unsigned char* text, int length) {
  const char* bytes = reinterpret_cast<const char*>(text);
  size_t n = length > 0 ? size_t(length) : 0;
  std::u16string out(tv_utf8_to_utf16(bytes, n, nullptr, 0, TV_TEXT_KEEP), u'\0');
  tv_utf8_to_utf16(bytes, n, out.data(), out.size(), TV_TEXT_KEEP);
  return out;
}

class Statement {
 public:
  Statement(sqlite3* db, const char* sql) { rc = sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr); }
  ~Statement() { sqlite3_finalize(stmt); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  void Bind(int index, int64_t value) { sqlite3_bind_int64(stmt, index, value); }
  void Bind(int index, const std::string& text) {
    sqlite3_bind_text(stmt, index, text.data(), int(text.size()), SQLITE_TRANSIENT);
  }
  void BindBlob(int index, const void* data, uint32_t size) {
    sqlite3_bind_blob(stmt, index, data ? data : "", int(size), SQLITE_STATIC);
  }
  // SQLITE_ROW, SQLITE_DONE, or the failure.
  int Step() {
    if (rc != SQLITE_OK && rc != SQLITE_ROW && rc != SQLITE_DONE) return rc;
    return rc = sqlite3_step(stmt);
  }
  int64_t Int(int column) { return sqlite3_column_int64(stmt, column); }
  std::u16string Text(int column) {
    const unsigned char* text = sqlite3_column_text(stmt, column);
    return FromStoreText(text, sqlite3_column_bytes(stmt, column));
  }

  int rc;
  sqlite3_stmt* stmt = nullptr;
};

// Runs `body` again while the database is busy beyond its time-out, so that many processes
// writing at once wait their turn instead of failing.
template <typename Body>
long Retrying(sqlite3* db, Body body) {
  auto giveUp = std::chrono::steady_clock::now() + GiveUpAfter;
  unsigned seed = unsigned(getpid()) * 2654435761u;
  for (;;) {
    long result = body();
    if (!sqlite3_get_autocommit(db)) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    if (result != Busy) return result;
    if (std::chrono::steady_clock::now() > giveUp) return IoFailed;
    seed = seed * 1103515245u + 12345u;
    std::this_thread::sleep_for(std::chrono::milliseconds(2 + (seed >> 16) % 20));
  }
}

long Exec(sqlite3* db, const char* sql) {
  return FromSqlite(sqlite3_exec(db, sql, nullptr, nullptr, nullptr));
}

// Runs `body` between BEGIN IMMEDIATE and COMMIT; a body that doesn't give Ok rolls back.
template <typename Body>
long InWriteTransaction(sqlite3* db, Body body) {
  return Retrying(db, [&]() -> long {
    long result = Exec(db, "BEGIN IMMEDIATE");
    if (result != Ok) return result;
    result = body();
    if (result != Ok) return result;
    return Exec(db, "COMMIT");
  });
}

long SetUpSchema(sqlite3* db) {
  return Retrying(db, [&]() -> long {
    {
      Statement version(db, "PRAGMA user_version");
      int rc = version.Step();
      if (rc != SQLITE_ROW) return FromSqlite(rc);
      if (version.Int(0) >= 1) return Ok;
    }
    long result = Exec(db, "PRAGMA journal_mode = WAL");
    if (result != Ok) return result;
    result = Exec(db, "BEGIN IMMEDIATE");
    if (result == Ok) result = Exec(db, SchemaSql);
    if (result == Ok) result = Exec(db, "COMMIT");
    return result;
  });
}

long OpenWritable(const std::string& file, sqlite3** out) {
  sqlite3* db = nullptr;
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  long result = FromSqlite(sqlite3_open_v2(file.c_str(), &db, flags, nullptr));
  if (result == Ok) {
    sqlite3_busy_timeout(db, BusyTimeoutMs);
    // Commits wait for no disk sync: a power cut may lose the last changes, never the
    // database.
    result = Exec(db, "PRAGMA synchronous = NORMAL; PRAGMA journal_size_limit = 4194304");
    if (result == Ok) result = SetUpSchema(db);
  }
  if (result != Ok) {
    sqlite3_close_v2(db);
    return result == Busy ? IoFailed : result;
  }
  *out = db;
  return Ok;
}

// The system-wide store is only read; a reader needs no right to write beside it.
long OpenReadOnly(const std::string& file, sqlite3** out) {
  sqlite3* db = nullptr;
  int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX;
  long result = FromSqlite(sqlite3_open_v2(file.c_str(), &db, flags, nullptr));
  if (result != Ok) {
    sqlite3_close_v2(db);
    return result;
  }
  sqlite3_busy_timeout(db, BusyTimeoutMs);
  *out = db;
  return Ok;
}

long OpenDatabase(const std::string& file, bool readOnly, sqlite3** out) {
  *out = nullptr;
  return readOnly ? OpenReadOnly(file, out) : OpenWritable(file, out);
}

thread_local std::shared_ptr<Connection> cachedConnections[2];

bool SameFile(const Connection& connection, const std::string& file) {
  struct stat info;
  return connection.file == file && stat(file.c_str(), &info) == 0 &&
         info.st_dev == connection.device && info.st_ino == connection.inode;
}

// The thread's connection to `file`, opened anew when the file was replaced or removed,
// after a failure, or in a child process.
long Connect(const std::string& file, bool readOnly, std::shared_ptr<Connection>& out) {
  std::shared_ptr<Connection>& slot = cachedConnections[readOnly ? 1 : 0];
  if (slot && !slot->broken && slot->owner == getpid() && SameFile(*slot, file)) {
    out = slot;
    return Ok;
  }
  slot.reset();
  auto connection = std::make_shared<Connection>();
  long result = OpenDatabase(file, readOnly, &connection->db);
  if (result != Ok) return result;
  struct stat info;
  if (stat(file.c_str(), &info) != 0) return IoFailed;
  connection->file = file;
  connection->device = info.st_dev;
  connection->inode = info.st_ino;
  connection->owner = getpid();
  slot = out = connection;
  return Ok;
}

// Passes `result` on; a failure of the database itself makes the next call reconnect.
long Checked(XRegKey* key, long result) {
  if (result == BadDatabase || result == IoFailed) key->connection->broken = true;
  return result;
}

// Makes every missing folder of `path`, private to the user as configuration folders are.
bool CreateFolders(const std::string& path) {
  for (size_t at = 1; at <= path.size(); ++at) {
    if (at < path.size() && path[at] != '/') continue;
    std::string part = path.substr(0, at);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string HomeFolder() {
  const char* home = getenv("HOME");
  if (home && *home) return home;
  struct passwd entry;
  struct passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir) {
    return found->pw_dir;
  }
  return {};
}

std::vector<std::string> SplitPath(std::u16string_view path) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find(u'\\', start);
    if (end == std::u16string_view::npos) end = path.size();
    if (end > start) parts.push_back(ToStoreText(path.substr(start, end - start)));
    start = end + 1;
  }
  return parts;
}

// Follows `parts` down from `*id`; with `create`, adds the keys that are missing.
long Walk(sqlite3* db, const std::vector<std::string>& parts, bool create, int64_t* id,
          size_t count = std::string::npos) {
  int64_t current = *id;
  for (const std::string& part : parts) {
    if (count-- == 0) break;
    Statement find(db, "SELECT id FROM keys WHERE parent = ?1 AND name = ?2");
    find.Bind(1, current);
    find.Bind(2, part);
    int rc = find.Step();
    if (rc == SQLITE_ROW) {
      current = find.Int(0);
      continue;
    }
    if (rc != SQLITE_DONE) return FromSqlite(rc);
    if (!create) return NotFound;
    Statement add(db, "INSERT INTO keys(parent, name) VALUES(?1, ?2)");
    add.Bind(1, current);
    add.Bind(2, part);
    rc = add.Step();
    if (rc != SQLITE_DONE) return FromSqlite(rc);
    current = sqlite3_last_insert_rowid(db);
  }
  *id = current;
  return Ok;
}

long Resolve(sqlite3* db, const std::vector<std::string>& parts, bool create, int64_t* id) {
  long result = Retrying(db, [&] {
    *id = 0;
    return Walk(db, parts, false, id);
  });
  if (result != NotFound || !create) return result;
  return InWriteTransaction(db, [&] {
    *id = 0;
    return Walk(db, parts, true, id);
  });
}

// Finds a subkey's id below `parent`.
long FindChild(sqlite3* db, int64_t parent, const std::string& name, int64_t* id) {
  Statement find(db, "SELECT id FROM keys WHERE parent = ?1 AND name = ?2");
  find.Bind(1, parent);
  find.Bind(2, name);
  int rc = find.Step();
  if (rc == SQLITE_ROW) {
    *id = find.Int(0);
    return Ok;
  }
  return rc == SQLITE_DONE ? NotFound : FromSqlite(rc);
}

long RemoveLeafKey(sqlite3* db, int64_t parent, const std::string& name) {
  int64_t child = 0;
  long result = FindChild(db, parent, name, &child);
  if (result != Ok) return result;
  Statement children(db, "SELECT 1 FROM keys WHERE parent = ?1 LIMIT 1");
  children.Bind(1, child);
  int rc = children.Step();
  if (rc == SQLITE_ROW) return AccessDenied;
  if (rc != SQLITE_DONE) return FromSqlite(rc);
  Statement values(db, "DELETE FROM vals WHERE key = ?1");
  values.Bind(1, child);
  rc = values.Step();
  if (rc != SQLITE_DONE) return FromSqlite(rc);
  Statement key(db, "DELETE FROM keys WHERE id = ?1");
  key.Bind(1, child);
  return FromSqlite(key.Step());
}

}  // namespace

std::string UserStorePath() {
  const char* config = getenv("XDG_CONFIG_HOME");
  std::string base;
  if (config && config[0] == '/') {
    base = config;
  } else {
    std::string home = HomeFolder();
    if (home.empty()) return {};
    base = home + "/.config";
  }
  return base + "/Morlane/Tonvera/settings.db";
}

std::string SystemStorePath() {
  const char* dirs = getenv("XDG_CONFIG_DIRS");
  std::string list = dirs && *dirs ? dirs : "/etc/xdg";
  size_t start = 0;
  while (start <= list.size()) {
    size_t end = list.find(':', start);
    if (end == std::string::npos) end = list.size();
    std::string dir = list.substr(start, end - start);
    if (!dir.empty() && dir[0] == '/') {
      std::string file = dir + "/Morlane/Tonvera/settings.db";
      struct stat info;
      if (stat(file.c_str(), &info) == 0 && S_ISREG(info.st_mode)) return file;
    }
    start = end + 1;
  }
  return {};
}

long Open(uint32_t root, std::u16string_view path, bool create, bool writable, XRegKey** out) {
  *out = nullptr;
  std::string file;
  bool userStore = root == XRegistry::RootCurrentUser;
  if (userStore) {
    file = UserStorePath();
    if (file.empty() || !CreateFolders(file.substr(0, file.rfind('/')))) return IoFailed;
  } else if (root == XRegistry::RootLocalMachine) {
    if (writable) return AccessDenied;
    file = SystemStorePath();
    if (file.empty()) return NotFound;
  } else {
    return NotFound;
  }
  std::shared_ptr<Connection> connection;
  long result = Connect(file, !userStore, connection);
  if (result != Ok) return result;
  auto key = std::make_unique<XRegKey>();
  key->connection = connection;
  key->db = connection->db;
  key->writable = writable;
  result = Checked(key.get(), Resolve(key->db, SplitPath(path), create && userStore, &key->id));
  if (result != Ok) return result;
  *out = key.release();
  return Ok;
}

void Close(XRegKey* key) { delete key; }

long Query(XRegKey* key, std::u16string_view name, uint32_t* type, void* data, uint32_t* size) {
  return Checked(key, Retrying(key->db, [&]() -> long {
                   Statement find(key->db,
                                  "SELECT type, data FROM vals WHERE key = ?1 AND name = ?2");
                   find.Bind(1, key->id);
                   find.Bind(2, ToStoreText(name));
                   int rc = find.Step();
                   if (rc == SQLITE_DONE) return NotFound;
                   if (rc != SQLITE_ROW) return FromSqlite(rc);
                   if (type) *type = uint32_t(find.Int(0));
                   const void* blob = sqlite3_column_blob(find.stmt, 1);
                   uint32_t length = uint32_t(sqlite3_column_bytes(find.stmt, 1));
                   if (!size) return data ? MoreData : Ok;
                   uint32_t room = *size;
                   *size = length;
                   if (!data) return Ok;
                   if (room < length) return MoreData;
                   if (length) memcpy(data, blob, length);
                   return Ok;
                 }));
}

long Set(XRegKey* key, std::u16string_view name, uint32_t type, const void* data, uint32_t size) {
  if (!key->writable) return AccessDenied;
  return Checked(key, Retrying(key->db, [&]() -> long {
                   Statement put(
                       key->db,
                       "INSERT INTO vals(key, name, type, data)"
                       " SELECT ?1, ?2, ?3, ?4 WHERE EXISTS(SELECT 1 FROM keys WHERE id = ?1)"
                       " ON CONFLICT(key, name) DO UPDATE SET type = excluded.type,"
                       " data = excluded.data");
                   put.Bind(1, key->id);
                   put.Bind(2, ToStoreText(name));
                   put.Bind(3, int64_t(type));
                   put.BindBlob(4, data, size);
                   int rc = put.Step();
                   if (rc != SQLITE_DONE) return FromSqlite(rc);
                   return sqlite3_changes(key->db) ? Ok : KeyDeleted;
                 }));
}

long DeleteValue(XRegKey* key, std::u16string_view name) {
  if (!key->writable) return AccessDenied;
  return Checked(key, Retrying(key->db, [&]() -> long {
                   Statement remove(key->db, "DELETE FROM vals WHERE key = ?1 AND name = ?2");
                   remove.Bind(1, key->id);
                   remove.Bind(2, ToStoreText(name));
                   int rc = remove.Step();
                   if (rc != SQLITE_DONE) return FromSqlite(rc);
                   return sqlite3_changes(key->db) ? Ok : NotFound;
                 }));
}

long DeleteSubKey(XRegKey* key, std::u16string_view name) {
  if (!key->writable) return AccessDenied;
  // The name may be a path below the key; its last part is the key to remove.
  std::vector<std::string> parts = SplitPath(name);
  if (parts.empty()) return NotFound;
  return Checked(key, InWriteTransaction(key->db, [&] {
                   int64_t parent = key->id;
                   long result = Walk(key->db, parts, false, &parent, parts.size() - 1);
                   return result == Ok ? RemoveLeafKey(key->db, parent, parts.back()) : result;
                 }));
}

long ListSubKeys(XRegKey* key, std::vector<std::u16string>& names) {
  return Checked(key, Retrying(key->db, [&]() -> long {
                   names.clear();
                   Statement list(key->db, "SELECT name FROM keys WHERE parent = ?1 ORDER BY name");
                   list.Bind(1, key->id);
                   int rc;
                   while ((rc = list.Step()) == SQLITE_ROW) names.push_back(list.Text(0));
                   return FromSqlite(rc);
                 }));
}

long ListValues(XRegKey* key, std::vector<std::u16string>& names, std::vector<uint32_t>& types) {
  return Checked(key, Retrying(key->db, [&]() -> long {
                   names.clear();
                   types.clear();
                   Statement list(key->db,
                                  "SELECT name, type FROM vals WHERE key = ?1 ORDER BY rowid");
                   list.Bind(1, key->id);
                   int rc;
                   while ((rc = list.Step()) == SQLITE_ROW) {
                     names.push_back(list.Text(0));
                     types.push_back(uint32_t(list.Int(1)));
                   }
                   return FromSqlite(rc);
                 }));
}

}  // namespace XRegStore
