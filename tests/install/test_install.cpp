// SPDX-License-Identifier: Apache-2.0
// What cmake --install (and so the Debian package) puts on a machine, in a
// staging root: every file in its place with its mode, PPDs that cupstestppd
// accepts with the installed filter, and a tmpfiles rule that deletes old
// page captures and nothing else.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "FilterProcess.h"

using namespace korvotest;
namespace fs = std::filesystem;

namespace {

int run(const std::string& command, std::string* output)
{
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    char buffer[4096];
    size_t count = 0;
    while (pipe != nullptr && (count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        output->append(buffer, count);
    }
    return pipe != nullptr ? pclose(pipe) : -1;
}

// A directory the install fills, the mode of its files and the files it
// must have. Files anywhere else are unexpected.
struct Place {
    std::string dir;
    unsigned mode;
    std::vector<std::string> required;
};

const Place kPlaces[] = {
    {KORVO_CUPS_FILTER_DIR, 0755, {"rastertokorvoppli"}},
    {KORVO_CUPS_BACKEND_DIR, 0755, {}},
    {KORVO_PPD_INSTALL_DIR, 0644, {"korvr27.ppd", "korv315.ppd", "korvk5.ppd", "korvq6.ppd"}},
    {KORVO_DRV_INSTALL_DIR, 0644, {"korvo.drv", "po/de.po", "po/fr.po", "po/es.po", "po/ja.po", "po/zh_CN.po"}},
    {KORVO_TMPFILES_DIR, 0644, {"printer-driver-korvo.conf"}},
    {KORVO_DOC_DIR, 0644, {"copyright"}},
    {KORVO_BIN_DIR, 0755, {}},
    {KORVO_MAN_DIR, 0644, {}},
    {KORVO_SYSTEMD_UNIT_DIR, 0644, {}},
};

const Place* placeOf(const std::string& path)
{
    for (const Place& place : kPlaces) {
        if (path.rfind(place.dir + "/", 0) == 0) {
            return &place;
        }
    }
    return nullptr;
}

TEST(Install, StagingRootHoldsEveryFileWithItsModeAndPassesCupstestppd)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "cupstestppd wants a root-owned filter; run as root (as CI does)";
    }
    TempDir stage;
    std::string output;
    ASSERT_EQ(run("DESTDIR=" + stage.path() + " " KORVO_CMAKE " --install " KORVO_BUILD_DIR " --prefix /usr", &output),
              0)
        << output;

    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(stage.path())) {
        const std::string path = entry.path().string().substr(stage.path().size());
        struct stat info {};
        ASSERT_EQ(lstat(entry.path().c_str(), &info), 0) << path;
        EXPECT_EQ(info.st_uid, 0u) << path;
        EXPECT_EQ(info.st_gid, 0u) << path;
        if (S_ISDIR(info.st_mode)) {
            EXPECT_EQ(info.st_mode & 07777, 0755u) << path;
            continue;
        }
        const Place* place = placeOf(path);
        ASSERT_NE(place, nullptr) << "unexpected file " << path;
        EXPECT_TRUE(S_ISREG(info.st_mode)) << path;
        EXPECT_EQ(info.st_mode & 07777, place->mode) << path;
    }
    for (const Place& place : kPlaces) {
        for (const std::string& file : place.required) {
            EXPECT_TRUE(fs::is_regular_file(stage.path() + place.dir + "/" + file)) << place.dir << "/" << file;
        }
    }
    // Without relaxed filter checks: the filter must be in the staging root,
    // root-owned and not writable by others.
    for (const std::string& ppd : kPlaces[2].required) {
        std::string report;
        const std::string file = stage.path() + KORVO_PPD_INSTALL_DIR + "/" + ppd;
        EXPECT_EQ(run("cupstestppd -R " + stage.path() + " " + file, &report), 0) << report;
        EXPECT_NE(report.find(": PASS"), std::string::npos) << report;
    }
}

// A name in the capture directory, how old it is, and whether the rule
// deletes it.
struct Aged {
    const char* name;
    bool old;
    bool deleted;
};

const Aged kNames[] = {
    {"origin_2026-11-23_10_11_12_1.bmp", true, true},
    {"dithered_2026-11-23_10_11_12_1.bmp", true, true},
    {"origin_2026-11-23_10_11_12_2.bmp", false, false},
    {"dithered_2026-11-23_10_11_12_2.bmp", false, false},
    {"c00042-001", true, false},
    {".origin_1.bmp", true, false},
    {"origin_1.bmp.part", true, false},
    {"origin_1.BMP", true, false},
    {"origin.bmp", true, false},
    {"xorigin_1.bmp", true, false},
    {"dither_1.bmp", true, false},
    {"dithered_1.bm", true, false},
    {"dithered_", true, false},
    {"o", true, false},
    {"sub", true, false},
    {"sub/origin_1.bmp", true, false},
};

TEST(Install, TmpfilesRuleDeletesOnlyCapturesOlderThanADay)
{
    if (system("command -v systemd-tmpfiles > /dev/null") != 0) {
        GTEST_SKIP() << "no systemd-tmpfiles";
    }
    TempDir root;
    const std::string spool = root.file("spool");
    ASSERT_EQ(mkdir(spool.c_str(), 0700), 0);
    ASSERT_EQ(chmod(spool.c_str(), 01770), 0);
    ASSERT_EQ(mkdir((spool + "/sub").c_str(), 0700), 0);
    // Read a minute ago, written two days ago: only the writing counts.
    const time_t now = time(nullptr);
    for (const Aged& file : kNames) {
        const std::string path = spool + "/" + file.name;
        if (!fs::is_directory(path)) {
            writeFile(path, "BM");
        }
        const struct timeval times[2] = {{now - 60, 0}, {file.old ? now - 2 * 86400 : now - 60, 0}};
        ASSERT_EQ(utimes(path.c_str(), times), 0) << path;
    }
    std::string rule = readText(KORVO_TMPFILES_RULE);
    const std::string spoolDir = "/var/spool/cups/tmp";
    for (size_t at = rule.find(spoolDir); at != std::string::npos; at = rule.find(spoolDir, at)) {
        rule.replace(at, spoolDir.size(), spool);
    }
    writeFile(root.file("rule.conf"), rule);

    std::string output;
    EXPECT_EQ(run("systemd-tmpfiles --create --remove --clean " + root.file("rule.conf"), &output), 0) << output;
    for (const Aged& file : kNames) {
        EXPECT_EQ(fs::exists(spool + "/" + file.name), !file.deleted)
            << file.name << (file.deleted ? " was kept" : " was deleted");
    }
    struct stat info {};
    ASSERT_EQ(stat(spool.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 01770u);
}

}  // namespace
