// Nodes that anyone could have written into the shared discovery channel:
// names that lead out of the device directory, prefixes without a NUL, and
// entries that are not the driver's character devices.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "QuorvaleAccess.h"
#include "QuorvaleDeviceNode.h"
#include "QuorvaleIterator.h"

namespace {

QuorvaleDeviceNode unterminated(char fill, uint8_t unit)
{
    QuorvaleDeviceNode node;
    memset(node.namePrefix, fill, sizeof node.namePrefix);
    node.unitNumber = unit;
    return node;
}

// A FIFO /tmp/hq<unit> (a name a prefix of 14 characters can reach from the
// device directory), watched for opens.
class WatchedFifo : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (unit = 0; unit < 256; ++unit) {
            name = "hq" + std::to_string(unit);
            fifo = "/tmp/" + name;
            if (mkfifo(fifo.c_str(), 0600) == 0)
                break;
        }
        ASSERT_LT(unit, 256);
        watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        ASSERT_NE(watch, -1);
        ASSERT_NE(inotify_add_watch(watch, "/tmp", IN_OPEN), -1);
    }
    void TearDown() override
    {
        close(watch);
        unlink(fifo.c_str());
    }
    // Opens of the FIFO since the watch began.
    int opensSeen() const
    {
        alignas(inotify_event) char events[8192];
        int opens = 0;
        ssize_t length;
        while ((length = read(watch, events, sizeof events)) > 0) {
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(events + at);
                if ((event->mask & IN_OPEN) && event->len > 0 && name == event->name)
                    ++opens;
                at += ssize_t(sizeof *event + event->len);
            }
        }
        return opens;
    }

    int unit = 0;
    std::string name, fifo;
    int watch = -1;
};

}  // namespace

TEST(HostileNode, NameWithASlashDoesNotParse)
{
    QuorvaleDeviceNode node{};
    EXPECT_FALSE(node.fromPath("/dev/vantorix/../../tmp/x0"));
    EXPECT_FALSE(node.fromPath("/dev/vantorix/dv0/../x"));
    EXPECT_FALSE(node.fromPath("/dev/vantorix/a/b1"));
    EXPECT_TRUE(node.fromPath("/dev/vantorix/dv3x"));
    EXPECT_STREQ(node.namePrefix, "dv");
    EXPECT_EQ(node.unitNumber, 3);
}

TEST(HostileNode, PathOutsideTheDeviceDirectoryDoesNotParse)
{
    QuorvaleDeviceNode node{};
    EXPECT_FALSE(node.fromPath("dv0"));
    EXPECT_FALSE(node.fromPath(""));
    EXPECT_FALSE(node.fromPath("/tmp/vantorix/dv0"));
    EXPECT_FALSE(node.fromPath("/dev/vantorixdv0"));
}

TEST(HostileNode, FifteenPrefixBytesWithoutNulAreNoNode)
{
    const QuorvaleDeviceNode node = unterminated('d', 1);
    EXPECT_FALSE(node.hasTerminatedPrefix());
    char path[64];
    memset(path, 'X', sizeof path);
    EXPECT_FALSE(node.toPath(path));
    EXPECT_EQ(path[0], 'X');  // nothing written
    EXPECT_EQ(node.driverNameIndex(), -1);
    EXPECT_EQ(node.driverName(), nullptr);
    EXPECT_EQ(QuorvaleOpenDevice(&node), nullptr);

    QuorvaleDeviceNode fourteen{};
    memset(fourteen.namePrefix, 'd', 14);
    EXPECT_TRUE(fourteen.hasTerminatedPrefix());
}

TEST(HostileNode, UnterminatedPrefixesCompareWithinTheirFifteenBytes)
{
    const QuorvaleDeviceNode a = unterminated('a', 1);
    const QuorvaleDeviceNode b = unterminated('b', 0);
    QuorvaleDeviceNode a2 = unterminated('a', 2);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_TRUE(a < a2);
    EXPECT_FALSE(a == a2);
    a2.unitNumber = 1;
    EXPECT_TRUE(a == a2);
}

TEST_F(WatchedFifo, NodeLeadingOutOfTheDeviceDirectoryIsNeverOpened)
{
    // "/dev/vantorix/../../tmp/hq<unit>" is the FIFO.
    QuorvaleDeviceNode node{};
    strcpy(node.namePrefix, "../../tmp/hq");
    node.unitNumber = uint8_t(unit);
    char path[64];
    ASSERT_TRUE(node.toPath(path));
    struct stat viaDevice, direct;
    ASSERT_EQ(stat(fifo.c_str(), &direct), 0);
    if (stat(path, &viaDevice) == 0) {  // only where /dev/vantorix exists
        EXPECT_EQ(viaDevice.st_ino, direct.st_ino);
    }
    EXPECT_EQ(QuorvaleOpenDevice(&node), nullptr);
    EXPECT_EQ(opensSeen(), 0);
}

TEST_F(WatchedFifo, EntryThatIsNotTheDriversCharacterDeviceIsNeverOpened)
{
    EXPECT_EQ(quorvale::openDriverNode(fifo.c_str()), -1);
    EXPECT_EQ(quorvale::openDriverNode("/tmp"), -1);
    EXPECT_EQ(quorvale::openDriverNode("/dev/null"), -1);  // a character device, another driver's
    EXPECT_EQ(opensSeen(), 0);
}
