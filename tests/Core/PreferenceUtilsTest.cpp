#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include "TemporaryFolder.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Core/internal/PreferencesFormat.hpp"

namespace halvora {
namespace {

namespace fs = std::filesystem;

/// Runs `body` in a forked child and returns its exit status (-1 when it did not exit normally).
/// The child never returns into the test runner.
int runInChild(const std::function<int()>& body) {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(body());
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string readText(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeText(const fs::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

/// A rewrite renames a new file over the old one: a new inode.
ino_t inodeOf(const fs::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_ino : 0;
}

class PreferenceUtilsTest : public ::testing::Test {
protected:
    test::TemporaryFolder folder;
    fs::path file = folder.path() / "halvora" / "preferences";
    std::vector<std::string> lines;
    Log log{[this](const std::string& line) { lines.push_back(line); }};
};

TEST_F(PreferenceUtilsTest, FreshStoreGivesTheDefaultsSilently) {
    PreferenceUtils store(file, &log);
    EXPECT_EQ(store.getWeightHeight(), 175);
    EXPECT_EQ(store.getUserHeight(), 175);
    EXPECT_EQ(store.getWeightAge(), 30);
    EXPECT_EQ(store.getWeightGender(), 0);
    EXPECT_EQ(store.getWeightUnit(), "kg");
    EXPECT_EQ(store.getBraceletUUID(), std::nullopt);
    EXPECT_EQ(store.getCentralUUID(), std::nullopt);
    EXPECT_EQ(store.getBraceletId(), std::nullopt);
    EXPECT_EQ(store.getUserWeight(), std::nullopt);
    EXPECT_TRUE(lines.empty());
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(PreferenceUtilsTest, ValuesSurviveIntoANewStoreAndNothingRemovesThem) {
    constexpr char kAwkward[] = "line one\nline two\\ with \r and \0 inside";
    const std::string awkward(kAwkward, sizeof kAwkward - 1);
    {
        PreferenceUtils store(file, &log);
        store.setCentralUUID(awkward);
        store.setBraceletUUID("6E400001-B5A3-F393-E0A9-E50E24DCCA9E");
        store.setBraceletId(PreferenceUtils::Value{std::int64_t{-12}});
        store.setUserWeight(72.35);
        store.setWeightUnit("lb");
        store.setWeightGender(1);
        store.setWeightAge(-4);
    }
    PreferenceUtils store(file, &log);
    EXPECT_EQ(store.getCentralUUID(), awkward);
    EXPECT_EQ(store.getBraceletUUID(), "6E400001-B5A3-F393-E0A9-E50E24DCCA9E");
    EXPECT_EQ(store.getBraceletId(), PreferenceUtils::Value{std::int64_t{-12}});
    EXPECT_EQ(store.getUserWeight(), 72.35);
    EXPECT_EQ(store.getWeightUnit(), "lb");
    EXPECT_EQ(store.getWeightGender(), 1);
    EXPECT_EQ(store.getWeightAge(), -4);

    store.setBraceletUUID(std::nullopt);
    store.setWeightUnit(std::nullopt);
    EXPECT_EQ(PreferenceUtils(file, &log).getBraceletUUID(), std::nullopt);
    EXPECT_EQ(PreferenceUtils(file, &log).getWeightUnit(), "kg");
    EXPECT_TRUE(lines.empty());
}

TEST_F(PreferenceUtilsTest, WeightScaleHeightIsTheBraceletHeight) {
    PreferenceUtils store(file, &log);
    store.setWeightHeight(160);
    EXPECT_EQ(store.getUserHeight(), 160);
    store.setUserHeight(181);
    EXPECT_EQ(store.getWeightHeight(), 181);
    EXPECT_EQ(store.getWeightProfile().height, 181);
    store.setUserHeight(std::nullopt);
    EXPECT_EQ(store.getWeightHeight(), 175);
    EXPECT_EQ(store.getWeightProfile().height, 175);
}

TEST_F(PreferenceUtilsTest, NumbersConvertBetweenIntegerAndFloatingPoint) {
    PreferenceUtils store(file, &log);
    store.setBraceletId(PreferenceUtils::Value{2.5});
    EXPECT_EQ(store.getBraceletId(), PreferenceUtils::Value{2.5});
    writeText(file,
              "HalvoraSDK preferences 1\nd halvora_bracelet_height 170.9\ni halvora_bracelet_weight 80\n"
              "s halvora_weight_age thirty\ni halvora_weight_gender 4294967296\nend\n");
    EXPECT_EQ(store.getUserHeight(), 170);
    EXPECT_EQ(store.getUserWeight(), 80.0);
    EXPECT_EQ(store.getWeightAge(), 30);    // text where a number belongs: the default
    EXPECT_EQ(store.getWeightGender(), 0);  // does not fit 32 bits: the default
}

TEST_F(PreferenceUtilsTest, StoringWhatTheFileHoldsLeavesItUntouched) {
    PreferenceUtils store(file, &log);
    store.setBraceletUUID("6F1C2D3E-0000-4000-8000-00000000F022");
    store.setWeightUnit("lb");
    const auto inode = [&] { return inodeOf(file); };
    const auto before = inode();
    ASSERT_NE(before, 0U);
    store.setBraceletUUID("6F1C2D3E-0000-4000-8000-00000000F022");
    store.setWeightUnit("lb");
    PreferenceUtils(file, &log).setWeightUnit("lb");
    EXPECT_EQ(inode(), before);  // a rewrite renames a new file over the old one
    store.setWeightUnit("kg");
    EXPECT_NE(inode(), before);
    EXPECT_EQ(PreferenceUtils(file, &log).getWeightUnit(), "kg");
    EXPECT_EQ(store.getBraceletUUID(), "6F1C2D3E-0000-4000-8000-00000000F022");
    EXPECT_TRUE(lines.empty());
}

TEST_F(PreferenceUtilsTest, AWeightProfileIsStoredInOneRewrite) {
    PreferenceUtils store(file, &log);
    store.setBraceletUUID("6F1C2D3E-0000-4000-8000-00000000F022");
    store.setWeightProfile({"lb", 1, 44, 168});
    const PreferenceUtils::WeightProfile read = PreferenceUtils(file, &log).getWeightProfile();
    EXPECT_EQ(read.unit, "lb");
    EXPECT_EQ(read.gender, 1);
    EXPECT_EQ(read.age, 44);
    EXPECT_EQ(read.height, 168);
    EXPECT_EQ(store.getBraceletUUID(), "6F1C2D3E-0000-4000-8000-00000000F022");

    const auto before = inodeOf(file);
    store.setWeightProfile({"lb", 1, 44, 168});
    EXPECT_EQ(inodeOf(file), before);
    store.setWeightProfile({"lb", 1, 45, 168});  // one value of four changed: the file is rewritten
    EXPECT_NE(inodeOf(file), before);
    EXPECT_EQ(PreferenceUtils(file, &log).getWeightAge(), 45);
    EXPECT_TRUE(lines.empty());
}

TEST_F(PreferenceUtilsTest, AValueTheUnchangedFileHoldsIsStoredWithoutWaitingForTheLock) {
    PreferenceUtils store(file, &log);
    store.setBraceletUUID("6F1C2D3E-0000-4000-8000-00000000F022");
    // Another process in the middle of a write holds the lock.
    const int holder = ::open((file.string() + ".lock").c_str(), O_RDWR);
    ASSERT_GE(holder, 0);
    ASSERT_EQ(::flock(holder, LOCK_EX), 0);
    auto same = std::async(std::launch::async, [&] { store.setBraceletUUID("6F1C2D3E-0000-4000-8000-00000000F022"); });
    const bool sameReturned = same.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    auto changed = std::async(std::launch::async, [&] { store.setBraceletUUID("6F1C2D3E-0000-4000-8000-00000000F023"); });
    const bool changedWaited = changed.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
    ::close(holder);
    same.get();
    changed.get();
    EXPECT_TRUE(sameReturned);
    EXPECT_TRUE(changedWaited);
    EXPECT_EQ(PreferenceUtils(file, &log).getBraceletUUID(), "6F1C2D3E-0000-4000-8000-00000000F023");
}

TEST_F(PreferenceUtilsTest, FileIsPrivateToTheUser) {
    PreferenceUtils(file, &log).setWeightAge(40);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    ASSERT_EQ(::stat(file.parent_path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(PreferenceUtilsTest, CorruptOrCutFileGivesDefaultsAndOneLogLine) {
    const std::string good = "HalvoraSDK preferences 1\ni halvora_weight_age 41\nend\n";
    const std::vector<std::string> badFiles = {"\x01garbage", good.substr(0, good.size() - 4),
                                               "HalvoraSDK preferences 1\nx halvora_weight_age 41\nend\n"};
    for (const std::string& bad : badFiles) {
        lines.clear();
        fs::create_directories(file.parent_path());
        writeText(file, bad);
        PreferenceUtils store(file, &log);
        EXPECT_EQ(store.getWeightAge(), 30);
        EXPECT_EQ(store.getWeightUnit(), "kg");
        writeText(file, bad + "\n");  // changed again: read again, still corrupt, still one line
        EXPECT_EQ(store.getWeightAge(), 30);
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_NE(lines[0].find(file.string()), std::string::npos) << lines[0];
    }
}

TEST_F(PreferenceUtilsTest, UnreadableFileGivesDefaultsAndOneLogLine) {
    fs::create_directories(file);  // a folder where the file should be
    PreferenceUtils store(file, &log);
    EXPECT_EQ(store.getWeightAge(), 30);
    EXPECT_EQ(store.getCentralUUID(), std::nullopt);
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(PreferenceUtilsTest, SetterThatCannotWriteLogsAndKeepsGoing) {
    writeText(folder.path() / "plain", "not a folder");
    PreferenceUtils store(folder.path() / "plain" / "preferences", &log);
    store.setWeightAge(50);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("cannot create the folder"), std::string::npos) << lines[0];
    EXPECT_EQ(store.getWeightAge(), 30);
}

TEST_F(PreferenceUtilsTest, SetterReplacesACorruptFileAndKeepsUnknownKeys) {
    fs::create_directories(file.parent_path());
    writeText(file, "broken");
    PreferenceUtils(file, &log).setWeightAge(33);
    EXPECT_EQ(PreferenceUtils(file, &log).getWeightAge(), 33);

    writeText(file, "HalvoraSDK preferences 1\ns other.app_key kept\nend\n");
    PreferenceUtils(file, &log).setWeightAge(34);
    const auto entries = PreferencesFormat::parse(readText(file));
    ASSERT_TRUE(entries.has_value());
    EXPECT_EQ(entries->at("other.app_key"), PreferenceUtils::Value{std::string("kept")});
    EXPECT_EQ(entries->at("halvora_weight_age"), PreferenceUtils::Value{std::int64_t{34}});
}

TEST_F(PreferenceUtilsTest, AnotherProcessReadsWhatThisOneWroteAndTheOtherWayRound) {
    PreferenceUtils store(file, &log);
    store.setWeightAge(61);
    EXPECT_EQ(store.getCentralUUID(), std::nullopt);
    const int status = runInChild([this] {
        PreferenceUtils child(file, nullptr);
        const bool sawParent = child.getWeightAge() == 61;
        child.setCentralUUID("from the child");
        return sawParent ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(store.getCentralUUID(), "from the child");
    EXPECT_EQ(store.getWeightAge(), 61);
}

TEST_F(PreferenceUtilsTest, ConcurrentProcessesKeepBothKeys) {
    constexpr int kSets = 15;
    auto writer = [this](bool central) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            PreferenceUtils child(file, nullptr);
            for (int i = 0; i < kSets; ++i) {
                const std::string value = std::to_string(i);
                central ? child.setCentralUUID(value) : child.setBraceletUUID(value);
            }
            ::_exit(0);
        }
        return pid;
    };
    const pid_t first = writer(true);
    const pid_t second = writer(false);
    for (const pid_t pid : {first, second}) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    PreferenceUtils store(file, &log);
    EXPECT_EQ(store.getCentralUUID(), std::to_string(kSets - 1));
    EXPECT_EQ(store.getBraceletUUID(), std::to_string(kSets - 1));
}

TEST_F(PreferenceUtilsTest, ConcurrentSettersOnThreadsKeepEveryKey) {
    constexpr int kSets = 10;
    PreferenceUtils shared(file, &log);
    PreferenceUtils other(file, &log);
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int i = 0; i < kSets; ++i) shared.setWeightAge(i);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < kSets; ++i) shared.setWeightGender(i);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < kSets; ++i) other.setUserHeight(150 + i);
    });
    threads.emplace_back([&] {
        for (int i = 0; i < kSets; ++i) {
            other.setWeightUnit(std::to_string(i));
            (void)shared.getWeightUnit();
        }
    });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(shared.getWeightAge(), kSets - 1);
    EXPECT_EQ(other.getWeightGender(), kSets - 1);
    EXPECT_EQ(shared.getUserHeight(), 150 + kSets - 1);
    EXPECT_EQ(shared.getWeightUnit(), std::to_string(kSets - 1));
    EXPECT_TRUE(lines.empty());
}

TEST_F(PreferenceUtilsTest, WriterKilledAtAnyMomentLeavesACompleteFile) {
    // The writer children are forked before this process starts any thread.
    const std::string payload(300, 'x');
    std::mt19937 random(20240611);
    std::uniform_int_distribution<int> delayMicroseconds(0, 15000);
    for (int round = 0; round < 20; ++round) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            PreferenceUtils child(file, nullptr);
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
            for (int i = 0; std::chrono::steady_clock::now() < deadline; ++i) {
                child.setCentralUUID("round " + std::to_string(round) + "\n" + payload + std::to_string(i));
                child.setWeightAge(i);
            }
            ::_exit(0);
        }
        ASSERT_GT(pid, 0);
        ::usleep(static_cast<useconds_t>(delayMicroseconds(random)));
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        if (!fs::exists(file)) continue;
        const auto entries = PreferencesFormat::parse(readText(file));
        ASSERT_TRUE(entries.has_value()) << "round " << round;
        const auto* central = std::get_if<std::string>(&entries->at(PreferenceUtils::kCentralUUIDKey));
        ASSERT_NE(central, nullptr);
        EXPECT_EQ(central->compare(0, 6, "round "), 0);
        EXPECT_NE(central->find(payload), std::string::npos);
    }
    PreferenceUtils store(file, &log);
    store.setWeightGender(1);  // also clears temporaries that killed writers left
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
        EXPECT_EQ(entry.path().filename().string().find(".tmp."), std::string::npos) << entry.path();
    }
    EXPECT_TRUE(lines.empty());
}

TEST(PreferenceUtilsPaths, DefaultPathFollowsTheEnvironment) {
    const std::vector<std::pair<std::string, std::string>> steps = {{"HOME", "/home/someone"},
                                                                    {"XDG_CONFIG_HOME", "relative/ignored"},
                                                                    {"XDG_CONFIG_HOME", "/xdg"},
                                                                    {"HALVORA_PREFERENCES", "/elsewhere/prefs"}};
    const std::vector<fs::path> expected = {"/home/someone/.config/halvora/preferences",
                                            "/home/someone/.config/halvora/preferences", "/xdg/halvora/preferences",
                                            "/elsewhere/prefs"};
    std::map<std::string, std::optional<std::string>> saved;
    for (const char* name : {"HALVORA_PREFERENCES", "XDG_CONFIG_HOME", "HOME"}) {
        saved[name] = std::getenv(name) ? std::optional<std::string>(std::getenv(name)) : std::nullopt;
        ::unsetenv(name);
    }
    for (std::size_t i = 0; i < steps.size(); ++i) {
        ::setenv(steps[i].first.c_str(), steps[i].second.c_str(), 1);
        EXPECT_EQ(PreferenceUtils::defaultPath(), expected[i]) << steps[i].first;
    }
    for (const auto& [name, value] : saved)
        value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
}

TEST(PreferenceUtilsPaths, SharedStoreMovesWithSetSharedPath) {
    test::TemporaryFolder folder;
    PreferenceUtils::setSharedPath(folder.path() / "a");
    const auto first = PreferenceUtils::shared();
    EXPECT_EQ(first->path(), folder.path() / "a");
    EXPECT_EQ(PreferenceUtils::shared(), first);
    PreferenceUtils::setSharedPath(folder.path() / "b");
    EXPECT_EQ(PreferenceUtils::shared()->path(), folder.path() / "b");
    EXPECT_EQ(first->path(), folder.path() / "a");
}

}  // namespace
}  // namespace halvora
