// SPDX-License-Identifier: Apache-2.0
// What cmake --install (and so the Debian package) puts on a machine, in a
// staging root: every file in its place with its mode, owned by root, PPDs
// that cupstestppd accepts with the installed filter, and a tmpfiles rule
// that deletes old page captures and nothing else.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

// A directory the install fills, the mode of its files and the files it
// must have. Files anywhere else are unexpected.
struct Place {
    std::string dir;
    std::string mode;
    std::vector<std::string> required;
};

const Place kPlaces[] = {
    {KORVO_CUPS_FILTER_DIR, "755", {"rastertokorvoppli"}},
    {KORVO_CUPS_BACKEND_DIR, "755", {}},
    {KORVO_PPD_INSTALL_DIR, "644", {"korvr27.ppd", "korv315.ppd", "korvk5.ppd", "korvq6.ppd"}},
    {KORVO_DRV_INSTALL_DIR, "644", {"korvo.drv", "po/de.po", "po/fr.po", "po/es.po", "po/ja.po", "po/zh_CN.po"}},
    {KORVO_TMPFILES_DIR, "644", {"printer-driver-korvo.conf"}},
    {KORVO_DOC_DIR, "644", {"copyright"}},
    {KORVO_BIN_DIR, "755", {}},
    {KORVO_MAN_DIR, "644", {}},
    {KORVO_SYSTEMD_UNIT_DIR, "644", {}},
};

TEST(Install, StagingRootHoldsEveryFileWithItsModeAndPassesCupstestppd)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "cupstestppd wants a root-owned filter; run as root (as CI does)";
    }
    TempDir stage;
    const std::string& root = stage.path();
    const std::string install = "DESTDIR=" + root + " " KORVO_CMAKE " --install " KORVO_BUILD_DIR " --prefix /usr";
    std::string output;
    ASSERT_EQ(runShell(install + " 2>&1", &output), 0) << output;
    std::string listing;
    ASSERT_EQ(runShell("cd " + root + " && find . -mindepth 1 -printf '%u:%g %y %m /%P\\n'", &listing), 0);
    std::istringstream entries(listing);
    for (std::string owner, type, mode, path; entries >> owner >> type >> mode >> path;) {
        const Place* place = std::find_if(std::begin(kPlaces), std::end(kPlaces),
                                          [&](const Place& place) { return path.rfind(place.dir + "/", 0) == 0; });
        const std::string fileMode = place != std::end(kPlaces) ? place->mode : "unexpected";
        EXPECT_EQ(owner + " " + type + " " + mode, type == "d" ? "root:root d 755" : "root:root f " + fileMode) << path;
    }
    for (const Place& place : kPlaces) {
        for (const std::string& file : place.required) {
            EXPECT_NE(listing.find(" " + place.dir + "/" + file + "\n"), std::string::npos) << place.dir << "/" << file;
        }
    }
    // Without relaxed filter checks: the filter must be in the staging root,
    // root-owned and not writable by others.
    std::string report;
    EXPECT_EQ(runShell("cupstestppd -R " + root + " " + root + KORVO_PPD_INSTALL_DIR "/*.ppd 2>&1", &report), 0)
        << report;
    EXPECT_EQ(countOf(report, ": PASS\n"), 4u) << report;
}

// The rule deletes captures written more than a day ago and nothing else: not
// newer captures, nor other names however old, each near a capture's in its
// own way (sub is a directory, written after the file in it).
const std::string kOldCaptures = "origin_2026-11-23_10_11_12_1.bmp dithered_2026-11-23_10_11_12_1.bmp";
const std::string kNewCaptures = "origin_2026-11-23_10_11_12_2.bmp dithered_2026-11-23_10_11_12_2.bmp";
const std::string kOldOthers = "c00042-001 .origin_1.bmp origin_1.bmp.part origin_1.BMP origin.bmp xorigin_1.bmp "
                               "dither_1.bmp dithered_1.bm dithered_ o sub/origin_1.bmp sub";

TEST(Install, TmpfilesRuleDeletesOnlyCapturesOlderThanADay)
{
    if (runShell("command -v systemd-tmpfiles >/dev/null") != 0) {
        GTEST_SKIP() << "no systemd-tmpfiles";
    }
    TempDir root;
    const std::string spool = root.file("spool");
    const std::string rule = root.file("rule.conf");
    // Read a minute ago, written then or two days ago: only the writing counts.
    ASSERT_EQ(runShell("mkdir -m 1770 " + spool + " && cd " + spool + " && mkdir sub && touch -d '1 minute ago' " +
                       kOldCaptures + " " + kNewCaptures + " " + kOldOthers + " && touch -m -d '2 days ago' " +
                       kOldCaptures + " " + kOldOthers),
              0);
    const std::string configure = "sed 's#/var/spool/cups/tmp#" + spool + "#' " KORVO_TMPFILES_RULE " > " + rule;
    std::string output;
    EXPECT_EQ(runShell(configure + " && systemd-tmpfiles --create --remove --clean " + rule + " 2>&1", &output), 0)
        << output;
    // The directory's mode, then the names left in it.
    const std::string names = kNewCaptures + " " + kOldOthers;
    const std::string listing = "cd " + spool + " && find . -mindepth 1 -printf '%P\\n' | LC_ALL=C sort";
    std::string expected;
    std::string left;
    ASSERT_EQ(runShell("echo 1770 && printf '%s\\n' " + names + " | LC_ALL=C sort", &expected), 0);
    ASSERT_EQ(runShell("stat -c %a " + spool + " && " + listing, &left), 0);
    EXPECT_EQ(left, expected);
}

}  // namespace
