// Only the kernel's termios2 here: <termios.h> from glibc defines a different
// struct termios under the same name, so the two never meet in one file.
#include "components/serial/termios_line.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cmath>
#include <cstring>

namespace tvl {

namespace {
constexpr std::uint32_t kFormatBits = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS;

std::uint32_t sizeBits(int dataBits) {
    switch (dataBits) {
        case 5:
            return CS5;
        case 6:
            return CS6;
        case 7:
            return CS7;
        default:
            return CS8;
    }
}

TermiosFlags fromKernel(const termios2& t) {
    TermiosFlags f;
    f.iflag = t.c_iflag;
    f.oflag = t.c_oflag;
    f.cflag = t.c_cflag;
    f.lflag = t.c_lflag;
    f.vmin = t.c_cc[VMIN];
    f.vtime = t.c_cc[VTIME];
    f.ispeed = t.c_ispeed;
    f.ospeed = t.c_ospeed;
    return f;
}

void toKernel(const TermiosFlags& f, termios2& t) {
    t.c_iflag = f.iflag;
    t.c_oflag = f.oflag;
    t.c_cflag = f.cflag;
    t.c_lflag = f.lflag;
    t.c_cc[VMIN] = f.vmin;
    t.c_cc[VTIME] = f.vtime;
    t.c_ispeed = f.ispeed;
    t.c_ospeed = f.ospeed;
}

std::string describeLine(const LineSettings& line) {
    std::string text =
        std::to_string(line.baud) + "," + line.parity + "," + std::to_string(line.dataBits) + ",";
    text += line.stopBits == 15 ? "1.5" : std::to_string(line.stopBits);
    return text;
}
}  // namespace

TermiosFlags encodeLine(const LineSettings& line, TermiosFlags f) {
    f.iflag &= ~(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY |
                 INPCK | IUCLC | IMAXBEL);
    f.iflag |= IGNPAR;
    f.oflag &= ~OPOST;
    f.lflag &= ~(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    // One byte makes a read complete; with O_NONBLOCK an empty line reads as EAGAIN.
    f.vmin = 1;
    f.vtime = 0;

    f.cflag &= ~(kFormatBits | CBAUD | (CBAUD << IBSHIFT));
    f.cflag |= CREAD | CLOCAL | BOTHER | (BOTHER << IBSHIFT) | sizeBits(line.dataBits);
    f.ispeed = f.ospeed = static_cast<std::uint32_t>(line.baud);
    switch (line.parity) {
        case 'E':
            f.cflag |= PARENB;
            break;
        case 'O':
            f.cflag |= PARENB | PARODD;
            break;
        case 'M':
            f.cflag |= PARENB | CMSPAR | PARODD;
            break;
        case 'S':
            f.cflag |= PARENB | CMSPAR;
            break;
        default:
            break;
    }
    if (line.stopBits != 1) f.cflag |= CSTOPB;  // 2, or 1.5 with 5 data bits
    if (line.handshaking == comXOnXoff || line.handshaking == comRTSXOnXOff)
        f.iflag |= IXON | IXOFF;
    if (line.handshaking == comRTS || line.handshaking == comRTSXOnXOff) f.cflag |= CRTSCTS;
    return f;
}

LineSettings decodeLine(const TermiosFlags& f) {
    LineSettings line;
    line.baud = static_cast<long>(f.ospeed);
    switch (f.cflag & CSIZE) {
        case CS5:
            line.dataBits = 5;
            break;
        case CS6:
            line.dataBits = 6;
            break;
        case CS7:
            line.dataBits = 7;
            break;
        default:
            line.dataBits = 8;
            break;
    }
    if (!(f.cflag & PARENB))
        line.parity = 'N';
    else if (f.cflag & CMSPAR)
        line.parity = (f.cflag & PARODD) ? 'M' : 'S';
    else
        line.parity = (f.cflag & PARODD) ? 'O' : 'E';
    line.stopBits = (f.cflag & CSTOPB) ? (line.dataBits == 5 ? 15 : 2) : 1;
    const bool soft = (f.iflag & IXON) && (f.iflag & IXOFF);
    const bool hard = f.cflag & CRTSCTS;
    line.handshaking = soft && hard ? comRTSXOnXOff : hard ? comRTS : soft ? comXOnXoff : comNone;
    return line;
}

std::string lineRefusal(const LineSettings& wanted, const LineSettings& got, bool pseudoTerminal) {
    const double want = static_cast<double>(wanted.baud);
    if (std::fabs(static_cast<double>(got.baud) - want) > want * 0.02)
        return "cannot run at " + std::to_string(wanted.baud) + " bits per second";
    if (pseudoTerminal) return {};
    // 2 stop bits with 5 data bits decode as 1.5: the same CSTOPB.
    const auto stopFlag = [](const LineSettings& l) { return l.stopBits != 1; };
    if (got.dataBits != wanted.dataBits || got.parity != wanted.parity ||
        stopFlag(got) != stopFlag(wanted))
        return "cannot take the line format " + describeLine(wanted);
    if (got.handshaking != wanted.handshaking)
        return "cannot take handshaking " + std::to_string(wanted.handshaking);
    return {};
}

void applyLine(int fd, const LineSettings& line, bool pseudoTerminal, const std::string& name) {
    termios2 t{};
    if (ioctl(fd, TCGETS2, &t) != 0) throw SerialError(name + " is not a serial line");
    toKernel(encodeLine(line, fromKernel(t)), t);
    if (ioctl(fd, TCSETS2, &t) != 0)
        throw SerialError(name + " refuses the line settings: " + std::strerror(errno));
    termios2 back{};
    if (ioctl(fd, TCGETS2, &back) != 0) throw SerialError(name + ": " + std::strerror(errno));
    const std::string why = lineRefusal(line, decodeLine(fromKernel(back)), pseudoTerminal);
    if (!why.empty()) throw SerialError(name + " " + why);
}

FoundLine saveLine(int fd) {
    static_assert(sizeof(termios2) <= sizeof(FoundLine::bytes));
    FoundLine found;
    termios2 t{};
    if (ioctl(fd, TCGETS2, &t) == 0) {
        std::memcpy(found.bytes, &t, sizeof t);
        found.saved = true;
    }
    return found;
}

void restoreLine(int fd, const FoundLine& found) {
    if (!found.saved) return;
    termios2 t{};
    std::memcpy(&t, found.bytes, sizeof t);
    ioctl(fd, TCSETS2, &t);
}

bool isPseudoTerminal(int fd) {
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISCHR(st.st_mode)) return false;
    const unsigned major = ::major(st.st_rdev);
    const unsigned minor = ::minor(st.st_rdev);
    return (major >= 136 && major <= 143)     // slave ends (/dev/pts/N)
           || (major >= 128 && major <= 135)  // master ends
           || (major == 5 && minor == 2)      // /dev/ptmx
           || major == 2 || major == 3;       // the old BSD pairs
}

std::uint32_t modemBitsOf(int tiocm) {
    std::uint32_t bits = 0;
    if (tiocm & TIOCM_CTS) bits |= MS_CTS_ON;
    if (tiocm & TIOCM_DSR) bits |= MS_DSR_ON;
    if (tiocm & TIOCM_RNG) bits |= MS_RING_ON;
    if (tiocm & TIOCM_CAR) bits |= MS_RLSD_ON;
    return bits;
}

std::vector<int> modemChanges(std::uint32_t before, std::uint32_t after) {
    static constexpr struct {
        std::uint32_t bit;
        int code;
    } kOrder[] = {{MS_CTS_ON, comEvCTS},
                  {MS_DSR_ON, comEvDSR},
                  {MS_RLSD_ON, comEvCD},
                  {MS_RING_ON, comEvRing}};
    std::vector<int> codes;
    for (const auto& line : kOrder)
        if ((before ^ after) & line.bit) codes.push_back(line.code);
    return codes;
}

}  // namespace tvl
