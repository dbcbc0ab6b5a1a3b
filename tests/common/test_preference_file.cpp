#include "common_test.h"
#include "preference_file.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

const char* const kDefault = "/var/tmp/eswitch.config";

class PreferenceFileTest : public CommonTest {
protected:
    void SetUp() override
    {
        CommonTest::SetUp();
        configure("ErrorLog=1\n");
    }

    std::string value(const char* key, FILE* file = nullptr)
    {
        const char* text = PrefGetProperty(file, key);
        return text ? text : "<null>";
    }
};

// A missing default file fails and is not created; a file that is written
// gets its directory back (the log's, and the preference files'
// owner-only); a lookup or set creates nothing.
TEST_F(PreferenceFileTest, MissingFilesAndDirectories)
{
    char path[kPrefPathSize];
    ASSERT_TRUE(GetPrefFileFullPath(kDefaultPrefFile, path));
    EXPECT_EQ(std::string(path), at(kDefault));

    EXPECT_EQ(PrefGetProperty(nullptr, "key"), nullptr);
    EXPECT_EQ(PrefSetProperty(nullptr, "key", "value"), -1);
    EXPECT_FALSE(fs::exists(at(kDefault)));
    EXPECT_EQ(PrefOpenPreferenceFile(nullptr), nullptr);
    EXPECT_EQ(PrefClosePreferenceFile(nullptr), 0);

    // A root too long for the path buffer opens nothing.
    setenv("VELTRA_ROOT", (root_ + "/" + std::string(kPrefPathSize, 'r')).c_str(), 1);
    EXPECT_FALSE(GetPrefFileFullPath(kDefaultPrefFile, path));
    EXPECT_STREQ(path, "");
    EXPECT_EQ(PrefOpenPreferenceFileWriteMode(kDefaultPrefFile), nullptr);

    setenv("VELTRA_ROOT", root_.c_str(), 1);
    fs::remove_all(at("/var"));
    EXPECT_EQ(PrefSetProperty(nullptr, "key", "value"), -1);
    EXPECT_TRUE(fs::exists(at("/var/log/Veltra_Adapter_Provider.log")));
    EXPECT_FALSE(fs::exists(at("/var/tmp")));

    FILE* file = PrefOpenPreferenceFileWriteMode("jobs.config");
    ASSERT_NE(file, nullptr);
    PrefClosePreferenceFile(file);
    EXPECT_EQ(fs::status(at("/var/tmp")).permissions(), fs::perms::owner_all);

    fs::remove_all(at("/var/tmp"));
    write(at("/var/tmp"), "");
    EXPECT_EQ(PrefOpenPreferenceFileWriteMode("jobs.config"), nullptr);
    EXPECT_TRUE(logged("cannot create directory " + root_ + "/var/tmp: Not a directory"));
}

TEST_F(PreferenceFileTest, SetAppendsNewKeysAndReplacesInPlace)
{
    write(at(kDefault), "");
    EXPECT_EQ(PrefSetProperty(nullptr, "SER1_A_0_1", "ivlan_id#0;"), 0);
    EXPECT_EQ(PrefSetProperty(nullptr, "7#STATUS", "0"), 0);
    EXPECT_EQ(PrefSetProperty(nullptr, "7#END", "1"), 0);
    EXPECT_EQ(read(at(kDefault)), "SER1_A_0_1=ivlan_id#0;\n7#STATUS=0\n7#END=1\n");

    // Same length: replaced where it stands, the other lines keep their order.
    EXPECT_EQ(PrefSetProperty(nullptr, "7#STATUS", "2"), 0);
    EXPECT_EQ(read(at(kDefault)), "SER1_A_0_1=ivlan_id#0;\n7#STATUS=2\n7#END=1\n");
    EXPECT_EQ(value("7#STATUS"), "2");
    EXPECT_EQ(value("SER1_A_0_1"), "ivlan_id#0;");
    EXPECT_EQ(value("17#STATUS"), "<null>");

    // Nothing that would make or break lines is written.
    const std::string before = read(at(kDefault));
    EXPECT_EQ(PrefSetProperty(nullptr, "a=b", "1"), -1);
    EXPECT_EQ(PrefSetProperty(nullptr, "", "1"), -1);
    EXPECT_EQ(PrefSetProperty(nullptr, "8#DESC", "x\n8#STATUS=2"), -1);
    EXPECT_EQ(PrefSetProperty(nullptr, "8#DESC\r", "x"), -1);
    EXPECT_EQ(read(at(kDefault)), before);

    // Keys compare exactly: "7#status" is another key.
    EXPECT_EQ(PrefSetProperty(nullptr, "7#status", "9"), 0);
    EXPECT_EQ(value("7#STATUS"), "2");
    EXPECT_EQ(value("7#status"), "9");
}

// The default file is rewritten whole (a temporary file renamed over it);
// a file handed in is rewritten in place and not truncated.
TEST_F(PreferenceFileTest, DefaultFileIsReplacedWholeAGivenFileInPlace)
{
    write(at(kDefault), "k=longvalue\nz=9\n");
    EXPECT_EQ(PrefSetProperty(nullptr, "k", "1"), 0);
    EXPECT_EQ(read(at(kDefault)), "k=1\nz=9\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(at("/var/tmp")), fs::directory_iterator()), 1)
        << "no temporary file stays behind";

    write(at(kDefault), "k=longvalue\nz=9\n");
    FILE* file = PrefOpenPreferenceFile(kDefaultPrefFile);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(PrefSetProperty(file, "k", "1"), 0);
    EXPECT_EQ(PrefClosePreferenceFile(file), 0);
    // The 8 new bytes overwrite the start; the old file's last 8 stay.
    EXPECT_EQ(read(at(kDefault)), "k=1\nz=9\nlue\nz=9\n");
    EXPECT_EQ(value("k"), "1");
    EXPECT_EQ(value("lue"), "<null>");

    // A torn last line is left out of the next rewrite.
    write(at(kDefault), "a=1\nSER_B_0_1=ivlan_id#1");
    EXPECT_EQ(PrefSetProperty(nullptr, "b", "2"), 0);
    EXPECT_EQ(read(at(kDefault)), "a=1\nb=2\n");
    EXPECT_TRUE(logged("Left out the unterminated last line of preference file (eswitch.config)."));
}

// A whole-file rewrite keeps, replaces, drops and appends in one step; the
// tolerant reader skips what does not parse.
TEST_F(PreferenceFileTest, RewriteAndReadEntries)
{
    write(at(kDefault), "7#ID=7\nS_B_0_1=old\n7#DESC=x\ngarbage\n=nokey\n");
    EXPECT_EQ(PrefRewriteFile(kDefaultPrefFile, {{"S_B_0_2", "new"}, {"7#DESC", "y"}},
                              [](const char* key) { return !PrefIsJobEntryKey(key); }, false),
              0);
    EXPECT_EQ(read(at(kDefault)), "7#ID=7\n7#DESC=y\nS_B_0_2=new\n");
    EXPECT_EQ(PrefRewriteFile(kDefaultPrefFile, {{"bad=key", "v"}}, nullptr, false), -1);
    EXPECT_EQ(PrefRewriteFile("new.config", {{"a", "1"}}, nullptr, false), -1);
    EXPECT_EQ(PrefRewriteFile("new.config", {{"a", "1"}}, nullptr, true), 0);
    EXPECT_EQ(read(at("/var/tmp/new.config")), "a=1\n");

    write(at(kDefault), "a=1\n\nnoequals\n=v\nb=x=y\r\n" + std::string(kPrefMaxEntryLine + 10, 'l') + "\nc=torn");
    std::vector<PrefEntry> entries;
    ASSERT_TRUE(PrefReadEntries(kDefaultPrefFile, entries));
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].key + "|" + entries[0].value + "|" + entries[1].key + "|" + entries[1].value, "a|1|b|x=y");
    EXPECT_TRUE(logged("Skipped the unterminated last line of preference file (eswitch.config)."));
    EXPECT_FALSE(PrefReadEntries("missing.config", entries));

    EXPECT_TRUE(PrefIsJobEntryKey("4711#STATUS"));
    for (const char* key : {"#ID", "47a#ID", "47#", "47#A#B", "SER_B_0_1", ""})
        EXPECT_FALSE(PrefIsJobEntryKey(key)) << key;

    // A lookup compares every token.
    write(at(kDefault), "empty=\nx=dup=tail\ndup=real\n=lead\n");
    EXPECT_EQ(value("empty"), "<null>");
    // A value equal to the key matches first and yields the text after it.
    EXPECT_EQ(value("dup"), "tail");
    EXPECT_EQ(value("x"), "dup");
    EXPECT_EQ(value("lead"), "<null>");
}

TEST_F(PreferenceFileTest, LongLinesAreReadInPieces)
{
    // 767 characters fill one read; the rest of the line is read as a line
    // of its own.
    const std::string head = "long=" + std::string(kPrefLineSize - 1 - 5, 'x');
    const std::string original = head + "hidden=yes\nk=v\n";
    write(at(kDefault), original);
    EXPECT_EQ(value("hidden"), "yes");
    EXPECT_EQ(value("k"), "v");
    EXPECT_EQ(value("long"), std::string(kPrefLineSize - 1 - 5, 'x'));

    EXPECT_EQ(PrefSetProperty(nullptr, "k", "w"), 0);
    EXPECT_EQ(read(at(kDefault)), head + "hidden=yes\nk=w\n");
    // The second piece is a line of its own: replacing it keeps the first.
    EXPECT_EQ(PrefSetProperty(nullptr, "hidden", "no!"), 0);
    EXPECT_EQ(read(at(kDefault)), head + "hidden=no!\nk=w\n");
    EXPECT_EQ(value("hidden"), "no!");

    const std::string huge(5000, 'v');
    EXPECT_EQ(PrefSetProperty(nullptr, "huge", huge.c_str()), 0);
    EXPECT_EQ(read(at(kDefault)), head + "hidden=no!\nk=w\nhuge=" + huge + "\n");
    EXPECT_EQ(value("huge"), std::string(kPrefLineSize - 1 - 5, 'v'));
}

TEST_F(PreferenceFileTest, ConcurrentSetsLoseNothing)
{
    constexpr int kThreads = 6;
    constexpr int kKeys = 40;
    write(at(kDefault), "");
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &go] {
            while (!go)
                std::this_thread::yield();
            for (int i = 0; i < kKeys; ++i) {
                const std::string key = std::to_string(t) + "#" + std::to_string(i);
                PrefSetProperty(nullptr, key.c_str(), "0");
                PrefSetProperty(nullptr, key.c_str(), "1");
            }
        });
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    const std::vector<std::string> saved = lines(at(kDefault));
    EXPECT_EQ(saved.size(), static_cast<size_t>(kThreads * kKeys));
    int missing = 0;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kKeys; ++i)
            missing += std::count(saved.begin(), saved.end(), std::to_string(t) + "#" + std::to_string(i) + "=1") != 1;
    EXPECT_EQ(missing, 0);
}

} // namespace
