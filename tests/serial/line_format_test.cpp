// The settings text, its termios flags and the read-back check.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>

#include "components/serial/termios_line.h"

namespace tvl::test {
namespace {

TEST(LineSettingsText, RefusesMalformedTextAndWhatLinuxCannotDo) {
    for (const char* text :
         {"",           "9600",        "9600,N,8",     "9600,N,8,1,",  ",N,8,1",
          "0,N,8,1",    "-9600,N,8,1", " 9600,N,8,1",  "96OO,N,8,1",   "9600.5,N,8,1",
          "9600,,8,1",  "9600,NE,8,1", "9600,X,8,1",   "9600,N,4,1",   "9600,N,9,1",
          "9600,N,8,0", "9600,N,8,3",  "9600,N,8,1.5", "9600,N,6,1.5", "9600,N,8, 1"}) {
        EXPECT_THROW(parseLineSettings(text, comNone), SerialError) << '"' << text << '"';
    }
    EXPECT_THROW(parseLineSettings("9600,N,8,1", -1), SerialError);
    EXPECT_THROW(parseLineSettings("9600,N,8,1", 4), SerialError);
}

TEST(TermiosFlags, FormatBitsMatchTheLine) {
    struct Case {
        const char* text;
        int handshaking;
        tcflag_t cflag;  // of CSIZE, PARENB, PARODD, CMSPAR, CSTOPB, CRTSCTS
        tcflag_t iflag;  // of IXON, IXOFF
    };
    const Case cases[] = {
        {"9600,N,8,1", comNone, CS8, 0},
        {"9600,e,7,1", comNone, CS7 | PARENB, 0},  // the letter taken case-blind
        {"9600,O,7,2", comNone, CS7 | PARENB | PARODD | CSTOPB, 0},
        {"9600,m,8,1", comNone, CS8 | PARENB | CMSPAR | PARODD, 0},
        {"9600,s,8,1", comNone, CS8 | PARENB | CMSPAR, 0},
        {"9600,N,5,1.5", comNone, CS5 | CSTOPB, 0},
        {"9600,N,6,1", comXOnXoff, CS6, IXON | IXOFF},
        {"9600,N,8,1", comRTS, CS8 | CRTSCTS, 0},
        {"9600,N,8,1", comRTSXOnXOff, CS8 | CRTSCTS, IXON | IXOFF},
    };
    // Start from flags that carry every bit, so that a stale one shows.
    TermiosFlags stale;
    stale.cflag = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS | HUPCL;
    stale.iflag = IXON | IXOFF;
    for (const Case& c : cases) {
        const LineSettings line = parseLineSettings(c.text, c.handshaking);
        const TermiosFlags f = encodeLine(line, stale);
        EXPECT_EQ(f.cflag & (CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS), c.cflag)
            << c.text << " handshaking " << c.handshaking;
        EXPECT_EQ(f.iflag & (IXON | IXOFF), c.iflag) << c.text << " handshaking " << c.handshaking;
        EXPECT_NE(f.cflag & HUPCL, 0u) << "a flag outside the format was lost";
        EXPECT_EQ(f.ospeed, 9600u);
        EXPECT_EQ(f.ispeed, 9600u);

        const auto format = [](const LineSettings& l) {
            return std::tuple(l.parity, l.dataBits, l.stopBits, l.handshaking);
        };
        const LineSettings back = decodeLine(f);
        EXPECT_EQ(format(back), format(line)) << c.text;
        EXPECT_EQ(lineRefusal(line, back, false), "") << c.text;
    }
}

TEST(TermiosFlags, ReadBackRefusesWhatTheDriverIgnored) {
    const LineSettings wanted = parseLineSettings("115200,M,7,2", comRTS);
    LineSettings got = wanted;
    EXPECT_EQ(lineRefusal(wanted, got, false), "");
    got.baud = 115107;  // a divisor's rate, within a UART's tolerance
    EXPECT_EQ(lineRefusal(wanted, got, false), "");

    got.baud = 9600;
    EXPECT_NE(lineRefusal(wanted, got, false).find("115200"), std::string::npos);
    EXPECT_NE(lineRefusal(wanted, got, true), "") << "a pseudo-terminal keeps its speed";

    // What a pseudo-terminal reads back for any format: CS8, no parity, no handshaking.
    got = LineSettings{};
    got.baud = wanted.baud;
    EXPECT_EQ(lineRefusal(wanted, got, true), "");
    EXPECT_NE(lineRefusal(wanted, got, false), "");

    got = wanted;
    got.parity = 'O';  // no CMSPAR in this driver
    EXPECT_NE(lineRefusal(wanted, got, false), "");
    got = wanted;
    got.handshaking = comNone;
    EXPECT_NE(lineRefusal(wanted, got, false), "");
}

TEST(ModemLines, InputBitsMapToStatusAndEachChangeIsOneEventInOrder) {
    EXPECT_EQ(modemBitsOf(TIOCM_CTS), MS_CTS_ON);
    EXPECT_EQ(modemBitsOf(TIOCM_DSR), MS_DSR_ON);
    EXPECT_EQ(modemBitsOf(TIOCM_CAR), MS_RLSD_ON);
    EXPECT_EQ(modemBitsOf(TIOCM_RNG), MS_RING_ON);
    EXPECT_EQ(modemBitsOf(TIOCM_DTR | TIOCM_RTS | TIOCM_LE), 0u) << "outputs are no inputs";

    EXPECT_EQ(modemChanges(MS_CTS_ON, MS_CTS_ON), std::vector<int>{});
    EXPECT_EQ(modemChanges(0, MS_RING_ON | MS_RLSD_ON | MS_DSR_ON | MS_CTS_ON),
              (std::vector<int>{comEvCTS, comEvDSR, comEvCD, comEvRing}));
    EXPECT_EQ(modemChanges(MS_RLSD_ON | MS_CTS_ON, MS_DSR_ON | MS_CTS_ON),
              (std::vector<int>{comEvDSR, comEvCD}));
    EXPECT_EQ(modemChanges(MS_RING_ON, 0), std::vector<int>{comEvRing});
}

}  // namespace
}  // namespace tvl::test
