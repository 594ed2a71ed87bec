#include "settings/file_registry.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QTemporaryDir>
#include <csignal>

#include "support/files.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString kUser = u"HKEY_CURRENT_USER\\Software\\Velnor"_s;
const QString kMachine = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\M"_s;

class FileRegistryTest : public testing::Test {
protected:
    QTemporaryDir dir;
    const QString path = dir.filePath(u"new/folder/registry.reg"_s);
    FileRegistry Open() { return FileRegistry(path, dir.filePath(u"machine.reg"_s)); }
    static QString Text(FileRegistry& registry, const QString& key, const QString& name)
    {
        const auto value = registry.Read(key, name);
        return value ? DataText(value->data) : u"(none)"_s;
    }
};

}  // namespace

TEST_F(FileRegistryTest, IsSeenByItsOwnersProgramsAloneAndAFailureChangesNothing)
{
    FileRegistry registry = Open(), other = Open();
    for (const QString& text : {u"0"_s, u"1"_s}) {
        registry.WriteText(kUser, u"a"_s, text);
        EXPECT_EQ(Text(other, kUser, u"A"_s), text);  // as another program sees it
    }
    for (const auto& [made, mode] : {std::pair(path, 0600U), {dir.filePath(u"new"_s), 0700U}}) {
        struct stat facts {};
        ASSERT_EQ(::stat(QFile::encodeName(made).constData(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 07777U, mode) << made.toStdString();
    }
    EXPECT_THROW(registry.WriteText(kUser, u"b\n"_s, u"2"_s), std::runtime_error);
    QDir(path + u".new"_s).mkpath(u"."_s);  // in the way of the next content
    EXPECT_THROW(registry.WriteText(kUser, u"a"_s, u"2"_s), std::runtime_error);
    EXPECT_EQ(Text(registry, kUser, u"a"_s), u"1"_s);
    FileRegistry folder(dir.path(), QString());
    EXPECT_THROW(folder.Read(kUser, u"a"_s), std::runtime_error);
}

/// A limit of file sizes stands for the disk.
TEST_F(FileRegistryTest, AFullDiskKeepsWhatIsThereAndSaysWhatToDo)
{
    FileRegistry registry = Open();
    registry.WriteText(kUser, u"a"_s, u"1"_s);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{1, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    std::string said;
    try {
        registry.WriteText(kUser, u"a"_s, u"2"_s);
    } catch (const std::exception& e) {
        said = e.what();
    }
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_NE(said.find("Make room there"), std::string::npos) << said;
    EXPECT_EQ(Text(registry, kUser, u"a"_s), u"1"_s);
}

TEST_F(FileRegistryTest, NeverWaitsForWhatSomebodyElseHasPutThere)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    const auto pipe = [](const QString& name) {
        EXPECT_EQ(::mkfifo(QFile::encodeName(name).constData(), 0600), 0);
    };
    FileRegistry registry = Open();
    pipe(path + u".new"_s);  // taken away
    registry.WriteText(kUser, u"a"_s, u"1"_s);
    QFile::remove(path + u".lock"_s);
    pipe(path + u".lock"_s);
    EXPECT_THROW(registry.WriteText(kUser, u"a"_s, u"2"_s), std::runtime_error);
    QFile::remove(path + u".lock"_s);
    ASSERT_TRUE(QFile::link(path, path + u".lock"_s));  // a lock is no link
    EXPECT_THROW(registry.WriteText(kUser, u"a"_s, u"2"_s), std::runtime_error);
    EXPECT_EQ(Text(registry, kUser, u"a"_s), u"1"_s);
    QFile::remove(path);
    pipe(path);
    EXPECT_THROW(registry.Read(kUser, u"a"_s), std::runtime_error);
}

TEST_F(FileRegistryTest, ALockThatSomebodyKeepsIsGivenUp)
{
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    std::optional held(files::LockFile((path + u".lock"_s).toStdString(), 0ms));
    SharedFile file(path, 50ms);
    const auto keep = [](const QByteArray& content) { return content + "x"; };
    const QString holder = u"process %1"_s.arg(::getpid());
    for (int tries = 0; tries < 2; ++tries) try {
            file.Replace(keep);
            ADD_FAILURE() << "replaced";
        } catch (const std::exception& problem) {
            EXPECT_TRUE(QString::fromUtf8(problem.what()).contains(holder)) << problem.what();
        }
    held.reset();
    file.Replace(keep);
    EXPECT_EQ(file.Read(), "x");
}

TEST_F(FileRegistryTest, FollowsLinksAndLooksTheMachineUpBehindTheUser)
{
    WriteFile(dir.filePath(u"machine.reg"_s),
              "[" + kMachine.toUtf8() + "]\n\"A\"=\"machine\"\n\"B\"=\"machine\"\n");
    WriteFile(dir.filePath(u"real"_s), "[" + kMachine.toUtf8() + "]\n\"a\"=\"user\"\n");
    ASSERT_TRUE(QDir().mkpath(dir.filePath(u"new/folder"_s)));
    ASSERT_TRUE(QFile::link(dir.filePath(u"real"_s), path));
    FileRegistry registry = Open();
    EXPECT_EQ(Text(registry, kMachine, u"A"_s), u"user"_s);
    EXPECT_EQ(Text(registry, kMachine, u"B"_s), u"machine"_s);
    EXPECT_EQ(registry.Values(kMachine).size(), 2U);
    EXPECT_EQ(registry.Subkeys(u"HKEY_LOCAL_MACHINE\\Software"_s), QStringList(u"M"_s));
    EXPECT_THROW(registry.WriteText(kMachine, u"A"_s, u"x"_s), std::runtime_error);
    registry.WriteText(kUser, u"c"_s, u"3"_s);
    EXPECT_TRUE(QFile::symLinkTarget(path).endsWith(u"real"_s));
    EXPECT_EQ(Text(registry, kUser, u"C"_s), u"3"_s);
}
