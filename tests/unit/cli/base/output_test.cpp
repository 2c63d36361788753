#include "cli/base/output.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>

#include "failing_call.h"
#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kOutputDirectory[] = "/run/output";
constexpr char kOutputFile[] = "/run/output/file";
constexpr char kForeignLink[] = ": refusing to follow a link in a directory that other users can write to";

extern FailingCall failing_fchmod;
extern FailingCall failing_fsync;
extern FailingCall failing_write;
FailingCall failing_fchown;
static FailingCall failing_mkdirat;
static FailingCall failing_readlinkat;
static FailingCall failing_renameat;
static FailingCall failing_fstat;
static FailingCall failing_create;
// The type, such as S_IFREG, of the files that appear to belong to another user; 0 for none.
static mode_t foreign_type = 0;
// Target of the link with which another user replaces a directory that was just created; empty for none.
static std::string put_in_place;

// The sandbox has only one user, so files of another user are simulated.
static void change_owner(struct stat* status) {
  if (foreign_type != 0 && (status->st_mode & S_IFMT) == foreign_type) status->st_uid = 1;
}

extern "C" int fstat(int file, struct stat* status) noexcept {
  if (failing_fstat.fails()) return -1;
  const int result = next<int (*)(int, struct stat*)>("fstat")(file, status);
  if (result == 0) change_owner(status);
  return result;
}

extern "C" int fstatat(int directory, const char* name, struct stat* status, int flags) noexcept {
  const int result =
      next<int (*)(int, const char*, struct stat*, int)>("fstatat")(directory, name, status, flags);
  if (result == 0) change_owner(status);
  return result;
}

// `failing_create` only affects calls that create a file.
extern "C" int openat(int directory, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if ((flags & O_EXCL) != 0 && failing_create.fails()) return -1;
  return next<int (*)(int, const char*, int, ...)>("openat")(directory, name, flags, mode);
}

extern "C" int mkdirat(int directory, const char* name, mode_t mode) noexcept {
  if (failing_mkdirat.fails()) return -1;
  const int result = next<int (*)(int, const char*, mode_t)>("mkdirat")(directory, name, mode);
  if (result == 0 && !put_in_place.empty()) {
    unlinkat(directory, name, AT_REMOVEDIR);
    EXPECT_EQ(symlinkat(put_in_place.c_str(), directory, name), 0);
  }
  return result;
}

extern "C" ssize_t readlinkat(int directory, const char* name, char* target, std::size_t size) noexcept {
  return failing_readlinkat.fails() ? -1
                                    : next<ssize_t (*)(int, const char*, char*, std::size_t)>("readlinkat")(
                                          directory, name, target, size);
}

extern "C" int renameat(int from_directory, const char* from, int to_directory, const char* to) noexcept {
  return failing_renameat.fails() ? -1
                                  : next<int (*)(int, const char*, int, const char*)>("renameat")(
                                        from_directory, from, to_directory, to);
}

// The user and the group of the last call of fchown().
static std::pair<uid_t, gid_t> new_owner;

// A change to another user is only recorded, since the sandbox has only one user.
extern "C" int fchown(int file, uid_t user, gid_t group) noexcept {
  if (failing_fchown.fails()) return -1;
  new_owner = {user, group};
  return user == geteuid() ? next<int (*)(int, uid_t, gid_t)>("fchown")(file, user, group) : 0;
}

// Writes the file; returns the error, "" on success.
static std::string written(const std::string& path, const std::string& content) {
  OutputFile file(path);
  if (const auto error = file.open()) return *error;
  return file.write(content).value_or("");
}

static mode_t mode_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

static std::vector<std::string> names_in(const std::string& directory) {
  return list_directory(directory).value();
}

class OutputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(kOutputDirectory);
    std::filesystem::create_directory(kOutputDirectory);
    ASSERT_EQ(chmod(kOutputDirectory, 0755), 0);
    put_in_place.clear();
    foreign_type = 0;
  }
};

using OutputFileTest = OutputTest;
using OutputDirectoryTest = OutputTest;

TEST_F(OutputFileTest, AReplacedFileKeepsItsMode) {
  ASSERT_TRUE(write_file({kOutputFile, 0640, "old"}));
  EXPECT_EQ(written(kOutputFile, "new"), "");
  EXPECT_EQ(text_of_file(kOutputFile), "new");
  EXPECT_EQ(mode_of(kOutputFile), 0640U);
  EXPECT_THAT(names_in(kOutputDirectory), ElementsAre("file"));
}

TEST_F(OutputFileTest, NoFileGetsTheRightToRunAsAnotherUser) {
  ASSERT_TRUE(write_file({kOutputFile, 06755, "old"}));
  EXPECT_EQ(written(kOutputFile, "new"), "");
  EXPECT_EQ(mode_of(kOutputFile), 0755U);
}

TEST_F(OutputFileTest, ANewFileHasTheModeOfTheUmask) {
  const mode_t former = umask(027);
  EXPECT_EQ(written(kOutputFile, "new"), "");
  umask(former);
  EXPECT_EQ(text_of_file(kOutputFile), "new");
  EXPECT_EQ(mode_of(kOutputFile), 0640U);
}

TEST_F(OutputFileTest, ALinkStaysWhenItsFileIsReplaced) {
  put_file(kOutputFile, "old");
  std::filesystem::create_symlink("./file", "/run/output/link");
  std::filesystem::create_symlink("/run/output/link", "/run/output/absolute");
  std::filesystem::create_symlink("/run/output", "/run/output/directory");
  for (const char* path :
       {"/run/output/link", "/run/output/absolute", "/run/output/directory/../output//link"}) {
    EXPECT_EQ(written(path, path), "");
    EXPECT_EQ(text_of_file(kOutputFile), path);
  }
  EXPECT_TRUE(std::filesystem::is_symlink("/run/output/link"));
  std::filesystem::create_symlink("new", "/run/output/dangling");
  EXPECT_EQ(written("/run/output/dangling", "new"), "");
  EXPECT_EQ(text_of_file("/run/output/new"), "new");
}

TEST_F(OutputFileTest, ALinkWhereOthersMayWriteIsNotFollowed) {
  put_file(kOutputFile, "old");
  std::filesystem::create_directory("/run/output/shared");
  std::filesystem::create_symlink(kOutputFile, "/run/output/shared/link");
  std::filesystem::create_symlink(kOutputDirectory, "/run/output/shared/directory");
  for (const mode_t mode : {01777U, 0777U, 0775U}) {
    ASSERT_EQ(chmod("/run/output/shared", mode), 0);
    for (const std::string path : {"/run/output/shared/link", "/run/output/shared/directory/file"})
      EXPECT_EQ(written(path, "new"), path + kForeignLink);
    OutputDirectory directory("/run/output/shared/directory/new");
    EXPECT_EQ(directory.open(), "/run/output/shared/directory/new" + std::string(kForeignLink));
  }
  EXPECT_EQ(text_of_file(kOutputFile), "old");
  EXPECT_EQ(written("/run/output/shared/file", "new"), "");
  EXPECT_EQ(text_of_file("/run/output/shared/file"), "new");
}

TEST_F(OutputFileTest, ADirectoryOfAnotherUserIsOneWhereOthersMayWrite) {
  put_file(kOutputFile, "old");
  std::filesystem::create_symlink("file", "/run/output/link");
  foreign_type = S_IFDIR;
  EXPECT_EQ(written("/run/output/link", "new"), "/run/output/link" + std::string(kForeignLink));
  EXPECT_EQ(text_of_file(kOutputFile), "old");
}

TEST_F(OutputFileTest, AnotherUserChoosesNoMode) {
  const mode_t former = umask(022);
  ASSERT_TRUE(write_file({kOutputFile, 0666, "old"}));
  foreign_type = S_IFREG;
  EXPECT_EQ(written(kOutputFile, "new"), "");
  umask(former);
  foreign_type = 0;
  EXPECT_EQ(mode_of(kOutputFile), 0644U);
}

// Like written(), but the file keeps its owner.
static std::string rewritten(const std::string& path, const std::string& content) {
  OutputFile file(path);
  if (const auto error = file.open()) return *error;
  return file.write(content, Owner::kKept).value_or("");
}

TEST_F(OutputFileTest, AChangedFileStaysItsOwners) {
  ASSERT_TRUE(write_file({kOutputFile, 0660, "old"}));
  foreign_type = S_IFREG;
  EXPECT_EQ(rewritten(kOutputFile, "new"), "");
  foreign_type = 0;
  EXPECT_EQ(new_owner, std::pair(uid_t{1}, getegid()));
  EXPECT_EQ(text_of_file(kOutputFile), "new");
  EXPECT_EQ(mode_of(kOutputFile), 0660U);
  EXPECT_EQ(rewritten("/run/output/new", "new"), "") << "a new one has none yet";
}

TEST_F(OutputFileTest, AFileThatCannotStayItsOwnersIsLeftAlone) {
  put_file(kOutputFile, "old");
  failing_fchown.fail(1, EPERM);
  EXPECT_EQ(rewritten(kOutputFile, "new"), "/run/output/file: Operation not permitted");
  EXPECT_EQ(text_of_file(kOutputFile), "old");
  EXPECT_THAT(names_in(kOutputDirectory), ElementsAre("file"));
}

TEST_F(OutputFileTest, APipeOfAnotherUserIsNotWrittenTo) {
  ASSERT_EQ(mkfifo(kOutputFile, 0666), 0);
  ASSERT_EQ(chmod(kOutputDirectory, 01777), 0);
  foreign_type = S_IFIFO;
  EXPECT_EQ(written(kOutputFile, "new"), "/run/output/file: Permission denied");
  foreign_type = 0;
  const Descriptor reader(open(kOutputFile, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_EQ(written(kOutputFile, "text"), "") << "one's own is";
  char text[5] = "";
  EXPECT_EQ(read(reader.number(), text, 4), 4);
}

TEST_F(OutputFileTest, AFailedLookIsAnError) {
  put_file(kOutputFile, "old");
  // The calls for two directories and the file, and a second call for the file.
  for (const int calls : {0, 1, 2, 3}) {
    failing_fstat.fail(1, EIO, calls);
    EXPECT_EQ(written(kOutputFile, "new"), "/run/output/file: Input/output error");
  }
  OutputDirectory directory("/run/output/new");
  ASSERT_EQ(directory.open(), std::nullopt);
  failing_fstat.fail(1, EIO);
  EXPECT_EQ(directory.write({}), "/run/output/new: Input/output error");
  // A directory whose status is unknown counts as one that others may write to.
  std::filesystem::create_symlink("file", "/run/output/link");
  failing_fstat.fail(1, EIO, 3);
  EXPECT_EQ(written("/run/output/link", "new"), "/run/output/link" + std::string(kForeignLink));
}

TEST_F(OutputFileTest, ALinkThatComesAfterTheLookIsReplaced) {
  put_file(kOutputFile, "old");
  OutputFile file("/run/output/new");
  ASSERT_EQ(file.open(), std::nullopt);
  std::filesystem::create_symlink(kOutputFile, "/run/output/new");
  EXPECT_EQ(file.write("new"), std::nullopt);
  EXPECT_EQ(text_of_file(kOutputFile), "old");
  EXPECT_EQ(std::filesystem::is_symlink("/run/output/new"), false);
}

TEST_F(OutputFileTest, ADirectoryThatIsSwappedAfterTheLookDoesNotMatter) {
  std::filesystem::create_directories("/run/output/mine");
  std::filesystem::create_directories("/run/output/other");
  OutputFile file("/run/output/mine/file");
  ASSERT_EQ(file.open(), std::nullopt);
  std::filesystem::rename("/run/output/mine", "/run/output/moved");
  std::filesystem::create_symlink("other", "/run/output/mine");
  EXPECT_EQ(file.write("new"), std::nullopt);
  EXPECT_THAT(names_in("/run/output/other"), IsEmpty());
  EXPECT_EQ(text_of_file("/run/output/moved/file"), "new");
}

TEST_F(OutputFileTest, ADeviceIsWrittenTo) {
  EXPECT_EQ(written("/dev/null", "text"), "");
  EXPECT_FALSE(std::filesystem::is_regular_file("/dev/null"));
  EXPECT_EQ(written("/dev/full", "text"), "/dev/full: No space left on device");
}

TEST_F(OutputFileTest, AnOpenFileIsWrittenToByItsNumber) {
  put_file(kOutputFile, "old ");
  const Descriptor file(open(kOutputFile, O_WRONLY | O_APPEND | O_CLOEXEC));
  EXPECT_EQ(written("/proc/self/fd/" + std::to_string(file.number()), "new"), "");
  EXPECT_EQ(text_of_file(kOutputFile), "old new");
  std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(file.number()), "/run/output/link");
  EXPECT_EQ(written("/run/output/link", "er"), "");
  EXPECT_EQ(text_of_file(kOutputFile), "old newer");
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Descriptor reader(ends[0]);
  const Descriptor writer(ends[1]);
  EXPECT_EQ(written("/proc/self/fd/" + std::to_string(ends[1]), "text"), "");
  char text[5] = "";
  EXPECT_EQ(read(ends[0], text, 4), 4);
  EXPECT_STREQ(text, "text");
  EXPECT_EQ(written("/proc/self/fd/999", "text"), "/proc/self/fd/999: No such file or directory");
}

TEST_F(OutputFileTest, AFileThatCannotBeReplacedStaysAsItWas) {
  put_file(kOutputFile, "old");
  failing_renameat.fail(1, EXDEV);
  EXPECT_EQ(written(kOutputFile, "new"), "/run/output/file: Invalid cross-device link");
  failing_write.fail(1, EIO);
  EXPECT_EQ(written(kOutputFile, "new"), "/run/output/file: Input/output error");
  EXPECT_EQ(text_of_file(kOutputFile), "old");
  EXPECT_THAT(names_in(kOutputDirectory), ElementsAre("file"));
}

TEST_F(OutputFileTest, WhatIsNoPlaceIsAnError) {
  put_file(kOutputFile, "old");
  std::filesystem::create_symlink("loop", "/run/output/loop");
  std::filesystem::create_symlink("/proc/self/fd/999/x", "/run/output/nowhere");
  struct {
    std::string path;
    const char* error;
  } const cases[] = {{"/run/output/missing/file", "No such file or directory"},
                     {"/run/output/file/file", "Not a directory"},
                     {"/run/output/", "Is a directory"},
                     {"/run/output/new/", "Is a directory"},
                     {"/run/output", "Is a directory"},
                     {"/run/output/loop", "Too many levels of symbolic links"},
                     {"/run/output/nowhere", "No such file or directory"},
                     {".", "Is a directory"},
                     {"", "No such file or directory"},
                     {"/run/output/" + std::string(300, 'a'), "File name too long"}};
  for (const auto& [path, error] : cases)
    EXPECT_EQ(written(path, "new"), path + ": " + error);
  failing_readlinkat.fail(1, EIO);
  EXPECT_EQ(written("/run/output/loop", "new"), "/run/output/loop: No such file or directory");
  EXPECT_EQ(written("/run/output/" + std::string(250, 'a'), "new"),
            "/run/output/" + std::string(250, 'a') + ": File name too long");
}

TEST_F(OutputFileTest, ANameThatIsTakenIsNotUsed) {
  failing_create.fail(3, EEXIST);
  EXPECT_EQ(written(kOutputFile, "new"), "");
  EXPECT_THAT(names_in(kOutputDirectory), ElementsAre("file"));
  failing_create.fail(100, EEXIST);
  EXPECT_EQ(written(kOutputFile, "newer"), "/run/output/file: File exists");
  EXPECT_EQ(text_of_file(kOutputFile), "new");
}

// FAT, for example, has no modes.
TEST_F(OutputFileTest, AFileSystemWithoutModesTakesTheContent) {
  put_file(kOutputFile, "old");
  failing_fchmod.fail(1, EPERM);
  EXPECT_EQ(written(kOutputFile, "new"), "");
  EXPECT_EQ(text_of_file(kOutputFile), "new");
}

static std::string created(const std::string& path, const std::string& content) {
  OutputFile file(path);
  if (const auto error = file.open()) return *error;
  return file.create(content).value_or("");
}

TEST_F(OutputFileTest, ACreatedFileIsForTheCallerAlone) {
  const mode_t mask = umask(0);
  EXPECT_EQ(created(kOutputFile, "new"), "");
  EXPECT_EQ(text_of_file(kOutputFile), "new");
  EXPECT_EQ(std::filesystem::status(kOutputFile).permissions(), std::filesystem::perms(0600));
  umask(mask);
}

TEST_F(OutputFileTest, WhatIsThereIsNotReplacedByACreatedFile) {
  put_file(kOutputFile, "old");
  EXPECT_EQ(created(kOutputFile, "new"), "/run/output/file: File exists");
  OutputFile file("/run/output/other");
  ASSERT_EQ(file.open(), std::nullopt);
  std::filesystem::create_symlink("missing", "/run/output/other");
  EXPECT_EQ(file.create("new"), "/run/output/other: File exists");
  EXPECT_EQ(text_of_file(kOutputFile), "old");
  EXPECT_FALSE(exists("/run/output/missing"));
}

TEST_F(OutputFileTest, AFileThatCannotBeCreatedIsNotThere) {
  failing_create.fail(1, EACCES);
  EXPECT_EQ(created(kOutputFile, "new"), "/run/output/file: Permission denied");
  failing_write.fail(1, ENOSPC);
  EXPECT_EQ(created(kOutputFile, "new"), "/run/output/file: No space left on device");
  failing_fsync.fail(1, EIO);
  EXPECT_EQ(created(kOutputFile, "new"), "/run/output/file: Input/output error");
  EXPECT_TRUE(std::filesystem::is_empty(kOutputDirectory));
}

static const std::vector<File>& some_files() {
  static const std::vector<File> files = {
      {"/var/run/a", 0644, "a"}, {"/var/run/b/c", 04750, "c"}, {"/var/d", 0600, ""}};
  return files;
}

static std::string saved(const std::string& path) {
  OutputDirectory directory(path);
  if (const auto error = directory.open()) return *error;
  return directory.write(some_files()).value_or("");
}

TEST_F(OutputDirectoryTest, IsMadeOrFilled) {
  std::filesystem::create_directory("/run/output/empty");
  std::filesystem::create_symlink("empty", "/run/output/link");
  for (const std::string path : {"/run/output/new", "/run/output/link"}) {
    EXPECT_EQ(saved(path), "");
    EXPECT_EQ(text_of_file(path + "/var/run/b/c"), "c");
    EXPECT_EQ(mode_of(path + "/var/run/b/c"), 0750U) << "without the right to run as its owner";
    EXPECT_EQ(mode_of(path + "/var/d"), 0600U);
    EXPECT_EQ(mode_of(path + "/var/run"), 0755U);
  }
}

TEST_F(OutputDirectoryTest, WhatIsNotEmptyIsAnError) {
  put_file(kOutputFile, "");
  EXPECT_EQ(saved(kOutputDirectory), "/run/output: Directory not empty");
  EXPECT_EQ(saved(kOutputFile), "/run/output/file: Not a directory");
  EXPECT_EQ(saved("/run/output/missing/new"), "/run/output/missing/new: No such file or directory");
}

TEST_F(OutputDirectoryTest, WhatComesAfterTheLookIsAnError) {
  std::filesystem::create_directory("/run/output/other");
  OutputDirectory missing("/run/output/new");
  ASSERT_EQ(missing.open(), std::nullopt);
  std::filesystem::create_symlink("other", "/run/output/new");
  EXPECT_EQ(missing.write(some_files()), "/run/output/new: File exists");
  std::filesystem::create_directory("/run/output/empty");
  OutputDirectory empty("/run/output/empty");
  ASSERT_EQ(empty.open(), std::nullopt);
  std::filesystem::create_symlink("../other", "/run/output/empty/var");
  EXPECT_EQ(empty.write(some_files()), "/run/output/empty: Directory not empty");
  EXPECT_THAT(names_in("/run/output/other"), IsEmpty());
}

TEST_F(OutputDirectoryTest, WhatTakesThePlaceOfANewDirectoryIsAnError) {
  std::filesystem::create_directory("/run/output/other");
  put_in_place = "/run/output/other";
  EXPECT_EQ(saved("/run/output/new"), "/run/output/new: Not a directory");
  EXPECT_THAT(names_in("/run/output/other"), IsEmpty());
}

TEST_F(OutputDirectoryTest, ADirectoryOfAnotherUserInPlaceOfANewOneIsAnError) {
  foreign_type = S_IFDIR;
  EXPECT_EQ(saved("/run/output/new"), "/run/output/new: File exists");
  EXPECT_THAT(names_in(kOutputDirectory), IsEmpty());
}

TEST_F(OutputDirectoryTest, AfterAFailureNothingIsLeft) {
  for (const int calls : {0, 1, 2}) {
    failing_write.fail(1, ENOSPC, calls % 2);
    EXPECT_EQ(saved("/run/output/new"), "/run/output/new: No space left on device");
    failing_mkdirat.fail(1, EDQUOT, calls);
    EXPECT_EQ(saved("/run/output/new"), "/run/output/new: Disk quota exceeded");
    EXPECT_THAT(names_in(kOutputDirectory), IsEmpty());
  }
  std::filesystem::create_directory("/run/output/empty");
  failing_fchmod.fail(1, ENOSPC);
  EXPECT_EQ(saved("/run/output/empty"), "/run/output/empty: No space left on device");
  EXPECT_THAT(names_in(kOutputDirectory), ElementsAre("empty"));
  EXPECT_THAT(names_in("/run/output/empty"), IsEmpty());
  OutputDirectory twice("/run/output/new");
  ASSERT_EQ(twice.open(), std::nullopt);
  EXPECT_EQ(twice.write({{"/a", 0644, ""}, {"/a", 0644, ""}}), "/run/output/new: File exists");
  EXPECT_THAT(names_in(kOutputDirectory), ElementsAre("empty"));
}
