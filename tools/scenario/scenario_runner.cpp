#include "tools/scenario/scenario_runner.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <istream>
#include <ostream>
#include <sstream>

#include "app/frm_main.h"
#include "components/stores/stores.h"
#include "line/transfer_pump.h"
#include "tools/scenario/state_fields.h"

namespace fs = std::filesystem;

namespace tvl::scenario {

namespace {

// A command failed in a way that is the program's or the scenario's fault,
// not a syntax error: reported with its line, and the run goes on.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "txtCommunication(3)" -> name and index (-1 without brackets).
std::pair<std::string, int> nameAndIndex(const std::string& part) {
    const auto open = part.find('(');
    if (open == std::string::npos) return {part, -1};
    if (part.back() != ')') throw SyntaxError("expected a closing ) in \"" + part + "\"");
    const std::string inner = part.substr(open + 1, part.size() - open - 2);
    if (inner.empty() || inner.find_first_not_of("0123456789") != std::string::npos)
        throw SyntaxError("expected an index number in \"" + part + "\"");
    return {part.substr(0, open), std::stoi(inner)};
}

std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> parts;
    std::string part;
    for (char c : path) {
        if (c == '.') {
            parts.push_back(part);
            part.clear();
        } else {
            part.push_back(c);
        }
    }
    parts.push_back(part);
    for (const auto& p : parts)
        if (p.empty()) throw SyntaxError("expected FORM.CONTROL.PROPERTY, found \"" + path + "\"");
    return parts;
}

std::string show(const PropertyValue& value) {
    if (auto b = std::get_if<bool>(&value)) return *b ? "True" : "False";
    if (auto d = std::get_if<double>(&value)) {
        std::ostringstream text;
        if (*d == static_cast<double>(static_cast<long long>(*d)))
            text << static_cast<long long>(*d);
        else
            text << *d;
        return text.str();
    }
    return scenario::quoted(std::get<std::string>(value));
}

// A written value as the property's type wants it.
PropertyValue parseValue(const Word& word) {
    if (word.quoted) return word.text;
    if (sameName(word.text, "True")) return true;
    if (sameName(word.text, "False")) return false;
    char* end = nullptr;
    const double d = std::strtod(word.text.c_str(), &end);
    if (end && *end == '\0' && !word.text.empty()) return d;
    throw SyntaxError("expected a string, True, False or a number, found \"" + word.text + "\"");
}

long count(const Word& word, const char* what) {
    if (word.text.empty() || word.text.find_first_not_of("0123456789") != std::string::npos)
        throw SyntaxError(std::string("expected ") + what + ", found \"" + word.text + "\"");
    return std::stol(word.text);
}

// A user reaches a control only while it, every frame holding it and its
// window are enabled and shown.
bool reachable(const Form& form, const Control* control) {
    if (!form.Enabled || !form.Visible) return false;
    for (; control; control = control->container())
        if (!control->Enabled || !control->Visible) return false;
    return true;
}

void expectWords(const std::vector<Word>& words, std::size_t least, std::size_t most,
                 const char* usage) {
    if (words.size() < least || words.size() > most)
        throw SyntaxError(std::string("expected: ") + usage);
}

}  // namespace

Runner::Runner(std::string scenarioFolder, const std::string& assetFolder, std::ostream& out,
               LineTrace* trace)
    : scenarioFolder_(std::move(scenarioFolder)),
      programFolder_([] {
          std::string pattern = (fs::temp_directory_path() / "tarvoline-scenario-XXXXXX").string();
          if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a program folder");
          return pattern;
      }()),
      out_(out),
      platform_(programFolder_) {
    // The program's folder holds its assets, as beside the real executable.
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(assetFolder, ignored)) {
        const std::string ext = entry.path().extension().string();
        if (ext == ".wav" || ext == ".jpg" || ext == ".png" || ext == ".hlp" || ext == ".html")
            fs::copy_file(entry.path(), fs::path(programFolder_) / entry.path().filename(),
                          ignored);
    }
    ProgramParts parts;
    parts.platform = &platform_;
    parts.line1 = &line1_;
    parts.line2 = &line2_;
    parts.makeTVL = makeKelTVL;
    parts.makeMDB = makeKelMDB;
    parts.makeXLS = makeKelXLS;
    parts.trace = trace;
    program_ = std::make_unique<Program>(std::move(parts));
    for (MciPlayer* player : {&program_->mciTarvoline, &program_->mciTarvoline1,
                              &program_->mciTarvoline2, &program_->mciTarvoline3}) {
        player->trace = [this, name = player->name()](const std::string& step) {
            std::string shown = step;
            const auto at = shown.find(programFolder_);
            if (at != std::string::npos) shown.replace(at, programFolder_.size(), "<folder>");
            playerSteps_[name].push_back(shown);
        };
    }
}

Runner::~Runner() {
    program_.reset();
    std::error_code ignored;
    fs::remove_all(programFolder_, ignored);
}

int Runner::run(std::istream& script) {
    std::string text;
    while (std::getline(script, text)) {
        ++lineNumber_;
        const auto first = text.find_first_not_of(" \t\r");
        if (first == std::string::npos || text[first] == '#') continue;
        try {
            execute(splitWords(text));
        } catch (const SyntaxError& error) {
            out_ << "line " << lineNumber_ << ": syntax error: " << error.what() << "\n";
            return 2;
        } catch (const std::exception& error) {
            failures_.push_back("line " + std::to_string(lineNumber_) + ": " + error.what());
            out_ << "line " << lineNumber_ << ": failed: " << error.what() << "\n";
        }
        for (const auto& problem : platform_.problems) {
            failures_.push_back("line " + std::to_string(lineNumber_) + ": " + problem);
            out_ << "line " << lineNumber_ << ": failed: " << problem << "\n";
        }
        platform_.problems.clear();
    }
    if (failures_.empty()) return 0;
    out_ << failures_.size() << " failure" << (failures_.size() == 1 ? "" : "s") << ":\n";
    for (const auto& f : failures_) out_ << "  " << f << "\n";
    return 1;
}

void Runner::execute(const std::vector<Word>& words) {
    using Command = void (Runner::*)(const std::vector<Word>&);
    static const std::map<std::string, Command> commands = {
        {"call", &Runner::call},
        {"set", &Runner::set},
        {"click", &Runner::clickCommand},
        {"key", &Runner::key},
        {"mouseup", &Runner::mouseUp},
        {"resize", &Runner::resize},
        {"feed", &Runner::feed},
        {"line", &Runner::setLine},
        {"let", &Runner::let},
        {"open", &Runner::openPort},
        {"hangup", &Runner::hangupOrPlug},
        {"plug", &Runner::hangupOrPlug},
        {"busy", &Runner::busy},
        {"tick", &Runner::tickCommand},
        {"drain", &Runner::drainCommand},
        {"answer", &Runner::answer},
        {"screen", &Runner::screen},
        {"print", &Runner::printOrExpect},
        {"expect", &Runner::printOrExpect},
    };
    const std::string& command = words[0].text;
    const auto found = commands.find(command);
    if (found == commands.end())
        throw SyntaxError(
            "unknown command \"" + command +
            "\"; expected call, set, click, key, mouseup, resize, feed, line, let, open, "
            "busy, hangup, plug, tick, drain, answer, screen, print or expect");
    (this->*found->second)(words);
}

void Runner::clickCommand(const std::vector<Word>& words) {
    expectWords(words, 2, 2, "click PATH");
    return click(words[1].text);
}

void Runner::key(const std::vector<Word>& words) {
    expectWords(words, 3, 3, "key FORM.CONTROL(I) CODE");
    const auto parts = splitPath(words[1].text);
    if (parts.size() != 2) throw SyntaxError("expected FORM.CONTROL(I), found " + words[1].text);
    Form* form = program_->form(parts[0]);
    if (!form) throw Failure(parts[0] + " is not loaded");
    const auto [name, index] = nameAndIndex(parts[1]);
    auto* box = dynamic_cast<TextBox*>(form->find(name, index));
    if (!box) throw Failure(words[1].text + " is not a text box");
    const int code = static_cast<int>(count(words[2], "a key code"));
    if (!reachable(*form, box)) {
        out_ << "key ignored: " << words[1].text << "\n";
        return;
    }
    box->typeKey(code);
}

void Runner::mouseUp(const std::vector<Word>& words) {
    expectWords(words, 3, 3, "mouseup SURFACE BUTTON");
    const auto parts = splitPath(words[1].text);
    Form* form = program_->form(parts[0]);
    if (!form) throw Failure(parts[0] + " is not loaded");
    const int button = static_cast<int>(count(words[2], "a mouse button"));
    Control* control = nullptr;
    if (parts.size() == 2) {
        const auto [name, index] = nameAndIndex(parts[1]);
        control = form->find(name, index);
        if (!control) throw Failure(words[1].text + " is no control");
    }
    // A disabled control raises nothing of its own: the click falls through
    // to what lies beneath it. An enabled one takes it, handled or not.
    while (control && !control->Enabled) control = control->container();
    if (control) {
        if (control->MouseUp) control->MouseUp(button);
    } else if (form->MouseUp) {
        form->MouseUp(button);
    }
}

void Runner::resize(const std::vector<Word>& words) {
    expectWords(words, 3, 3, "resize W H");
    if (!program_->FrmMain) throw Failure("FrmMain is not loaded");
    program_->FrmMain->Width = static_cast<float>(count(words[1], "a width"));
    program_->FrmMain->Height = static_cast<float>(count(words[2], "a height"));
    if (!program_->FrmMain->Resize) throw Failure("FrmMain.Form_Resize is not built yet");
    program_->FrmMain->Resize();
}

void Runner::feed(const std::vector<Word>& words) {
    expectWords(words, 3, 3, "feed portN \"BYTES\"");
    if (!words[2].quoted) throw SyntaxError("expected the bytes as a string");
    line(words[1].text).feed(words[2].text);
}

void Runner::setLine(const std::vector<Word>& words) {
    expectWords(words, 4, 4, "line portN CTS|DSR|CD|RI 0|1");
    static const std::map<std::string, std::uint32_t> bits = {
        {"CTS", MS_CTS_ON}, {"DSR", MS_DSR_ON}, {"CD", MS_RLSD_ON}, {"RI", MS_RING_ON}};
    auto bit = bits.find(words[2].text);
    if (bit == bits.end()) throw SyntaxError("expected CTS, DSR, CD or RI");
    if (words[3].text != "0" && words[3].text != "1") throw SyntaxError("expected 0 or 1");
    line(words[1].text).setInput(bit->second, words[3].text == "1");
}

void Runner::let(const std::vector<Word>& words) {
    if (words.size() != 4 || words[2].text != "=")
        throw SyntaxError("expected: let state.NAME[(I)] = VALUE");
    if (words[1].text.rfind("state.", 0) != 0) throw SyntaxError("expected state.NAME");
    const auto [name, index] = nameAndIndex(words[1].text.substr(6));
    writeState(program_->state, name, index, words[3].text, words[3].quoted);
}

void Runner::openPort(const std::vector<Word>& words) {
    expectWords(words, 2, 3, "open portN [NUMBER]");
    SerialPort& p = port(words[1].text);
    const int n = words[1].text == "port1" ? 1 : 2;
    try {
        p.setSettings("115200,N,8,1");
        p.setHandshaking(0);
        p.setCommPort(words.size() == 3 ? static_cast<int>(count(words[2], "a port number")) : n);
        p.setPortOpen(true);
        program_->state.CommHandle[n - 1] = p.CommID();
    } catch (const SerialError& error) {
        out_ << "open failed: " << error.what() << "\n";
    }
}

void Runner::hangupOrPlug(const std::vector<Word>& words) {
    const std::string& command = words[0].text;
    expectWords(words, 2, 2, command == "hangup" ? "hangup portN" : "plug portN");
    SimulatedLine& device = line(words[1].text);
    if (command == "hangup")
        device.hangUp();
    else
        device.plug();
}

void Runner::busy(const std::vector<Word>& words) {
    expectWords(words, 2, 2, "busy NUMBER");
    lines_.busy.insert(static_cast<int>(count(words[1], "a port number")));
}

void Runner::tickCommand(const std::vector<Word>& words) {
    expectWords(words, 1, 2, "tick [N]");
    return tick(words.size() == 2 ? count(words[1], "a number of ticks") : 1, false);
}

void Runner::drainCommand(const std::vector<Word>& words) {
    expectWords(words, 1, 1, "drain");
    return tick(10'000'000, true);
}

void Runner::answer(const std::vector<Word>& words) {
    if (words.size() != 3 || (words[1].text != "file" && words[1].text != "input"))
        throw SyntaxError("expected: answer file|input \"TEXT\"|cancel");
    auto& answers = words[1].text == "file" ? platform_.fileAnswers : platform_.inputAnswers;
    if (words[2].quoted)
        answers.push_back(words[1].text == "file" ? filePath(words[2].text) : words[2].text);
    else if (words[2].text == "cancel")
        answers.push_back(std::nullopt);
    else
        throw SyntaxError("expected a string or cancel");
}

void Runner::screen(const std::vector<Word>& words) {
    expectWords(words, 2, 2, "screen WIDTH");
    platform_.screenWidth = static_cast<int>(count(words[1], "a width"));
}

void Runner::printOrExpect(const std::vector<Word>& words) {
    const std::string& command = words[0].text;
    const auto equals = std::find_if(words.begin(), words.end(),
                                     [](const Word& w) { return !w.quoted && w.text == "="; });
    const std::vector<Word> what(words.begin() + 1, command == "print" ? words.end() : equals);
    if (what.empty()) throw SyntaxError("expected what to " + command);
    if (command == "expect" && equals == words.end())
        throw SyntaxError("expected: expect WHAT = VALUE");
    const std::string actual = value(what);
    if (command == "print") {
        out_ << printed(what) << " = " << actual << "\n";
        return;
    }
    const std::string wanted = printed(std::vector<Word>(equals + 1, words.end()));
    if (actual != wanted) {
        const std::string failure = "line " + std::to_string(lineNumber_) + ": " + printed(what) +
                                    ": expected " + wanted + ", got " + actual;
        failures_.push_back(failure);
        out_ << failure << "\n";
    }
}

void Runner::call(const std::vector<Word>& words) {
    if (words.size() < 2) throw SyntaxError("expected: call FORM.HANDLER [ARG ...]");
    std::vector<std::string> args;
    for (std::size_t i = 2; i < words.size(); ++i) args.push_back(words[i].text);
    const auto parts = splitPath(words[1].text);
    if (parts.size() == 1) {
        if (sameName(parts[0], "Main")) return Main(*program_);
        throw Failure(parts[0] + " is not built yet");
    }
    if (parts.size() != 2) throw SyntaxError("expected FORM.HANDLER, found " + words[1].text);
    Form* form = program_->form(parts[0]);
    if (!form) throw Failure(parts[0] + " is not loaded");
    const Form::Handler* handler = form->handler(parts[1]);
    if (!handler) throw Failure(words[1].text + " is not built yet");
    (*handler)(args);
}

void Runner::set(const std::vector<Word>& words) {
    if (words.size() != 4 || words[2].text != "=") throw SyntaxError("expected: set PATH = VALUE");
    const auto parts = splitPath(words[1].text);
    Form* form = program_->form(parts[0]);
    if (!form) throw Failure(parts[0] + " is not loaded");
    const PropertyValue v = parseValue(words[3]);
    bool done = false;
    if (parts.size() == 2) {
        done = form->put(parts[1], v);
    } else if (parts.size() == 3) {
        const auto [name, index] = nameAndIndex(parts[1]);
        Control* control = form->find(name, index);
        if (!control) throw Failure(words[1].text + ": no such control");
        done = control->put(parts[2], v);
    } else if (parts.size() == 4) {
        auto* bar = dynamic_cast<Toolbar*>(form->find(parts[1]));
        const auto [buttons, n] = nameAndIndex(parts[2]);
        if (!bar || !sameName(buttons, "Buttons"))
            throw Failure(words[1].text + ": no such button");
        done = bar->Buttons(n).put(parts[3], v);
    }
    if (!done) throw Failure(words[1].text + " cannot be set to " + show(v));
}

void Runner::click(const std::string& path) {
    const auto parts = splitPath(path);
    Form* form = program_->form(parts[0]);
    if (!form) throw Failure(parts[0] + " is not loaded");
    if (parts.size() < 2 || parts.size() > 3)
        throw SyntaxError("expected FORM.CONTROL, found " + path);
    const auto [name, index] = nameAndIndex(parts[1]);
    Control* control = form->find(name, index);
    if (!control) throw Failure(path + ": no such control");
    auto ignored = [&] { out_ << "click ignored: " << path << "\n"; };
    if (parts.size() == 3) {
        auto* bar = dynamic_cast<Toolbar*>(control);
        const auto [buttons, n] = nameAndIndex(parts[2]);
        if (!bar || !sameName(buttons, "Buttons") || n < 1 || n > bar->buttonCount())
            throw Failure(path + ": no such button");
        const ToolbarButton& b = bar->Buttons(n);
        if (!form->Enabled || !bar->Visible || !bar->Enabled || !b.Enabled || !b.Visible ||
            b.Separator)
            return ignored();
        if (!bar->ButtonClick) throw Failure(bar->name() + "_ButtonClick is not built yet");
        bar->click(n);
        return;
    }
    if (!control->Enabled || !control->Visible) return ignored();
    if (control->kind() == ControlKind::Menu) {
        auto* menu = static_cast<Menu*>(control);
        if (!menu->Click) throw Failure(menu->name() + "_Click is not built yet");
        return menu->Click();
    }
    if (!form->Enabled) return ignored();
    if (auto* button = dynamic_cast<CommandButton*>(control)) {
        if (!button->Click) throw Failure(button->name() + "_Click is not built yet");
        return button->Click();
    }
    if (auto* image = dynamic_cast<Image*>(control)) {
        if (image->Click) return image->Click();
    }
    if (auto* check = dynamic_cast<CheckBox*>(control))
        return check->setValue(check->Value ? 0 : 1);
    if (auto* option = dynamic_cast<OptionButton*>(control)) return option->choose();
    throw Failure(path + " cannot be clicked");
}

void Runner::tick(long n, bool drain) {
    if (!program_->FrmMain) throw Failure("FrmMain is not loaded: there is no timer");
    Timer& timer = *program_->FrmMain->tmrTarvoline;
    for (long i = 0; i < n && timer.Enabled; ++i) {
        if (drain && !bytesWaiting(*program_)) break;
        timer.fire();
    }
}

SerialPort& Runner::port(const std::string& word) {
    if (word == "port1") return program_->mscComControl1;
    if (word == "port2") return program_->mscComControl2;
    throw SyntaxError("expected port1 or port2, found \"" + word + "\"");
}

SimulatedLine& Runner::line(const std::string& word) {
    if (word == "port1") return line1_;
    if (word == "port2") return line2_;
    throw SyntaxError("expected port1 or port2, found \"" + word + "\"");
}

std::string Runner::filePath(const std::string& written) const {
    if (written.empty() || fs::path(written).is_absolute()) return written;
    return (fs::path(scenarioFolder_) / written).lexically_normal().string();
}

std::string Runner::readCapture(const std::string& path) {
    std::unique_ptr<KelTVL> file = makeKelTVL();
    if (!file) throw Failure("the .tvl store is not built yet");
    const auto slash = path.rfind('/');
    file->StoreFolder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    file->StoreName = slash == std::string::npos ? path : path.substr(slash + 1);
    try {
        file->CountRecords();
        const double n = file->RecordCount();
        file->OpenStore();
        file->ReadTitles();
        std::string shown = scenario::quoted(file->PortTitle1) + " " +
                            scenario::quoted(file->PortTitle2) + " " + show(PropertyValue(n));
        file->ReadRecord(1);
        for (long i = 1; i < static_cast<long>(n); ++i) {
            file->ReadRecord(0);
            shown += " [" + scenario::quoted(file->PortText1) + " " +
                     scenario::quoted(file->PortText2) + "]";
        }
        file->CloseStore();
        return shown;
    } catch (const StoreError& error) {
        return std::string("error: ") + error.what();
    }
}

std::string Runner::value(const std::vector<Word>& what) {
    const std::string& first = what[0].text;
    auto takeJoined = [](std::vector<std::string>& items) {
        std::string out;
        for (const auto& item : items) out += (out.empty() ? "" : " | ") + item;
        items.clear();
        return out.empty() ? std::string("none") : out;
    };
    if (first == "msgbox") return takeJoined(platform_.messages);
    if (first == "help") return takeJoined(platform_.helpCalls);
    if (first == "popup") {
        std::string shown = platform_.popup.empty() ? "none" : platform_.popup;
        platform_.popup.clear();
        return shown;
    }
    if (first == "exited") return program_->exited ? "True" : "False";
    if (first == "tvl") {
        if (what.size() != 2 || !what[1].quoted) throw SyntaxError("expected: tvl \"PATH\"");
        return readCapture(filePath(what[1].text));
    }
    if (what.size() != 1) throw SyntaxError("expected one thing to print, found " + printed(what));
    if (first.rfind("mci.", 0) == 0) {
        auto& steps = playerSteps_[first.substr(4)];
        std::string shown;
        for (const auto& step : steps) shown += (shown.empty() ? "" : " ") + step;
        steps.clear();
        return shown.empty() ? "none" : shown;
    }
    if (first.rfind("state.", 0) == 0) {
        const auto [name, index] = nameAndIndex(first.substr(6));
        return show(readState(program_->state, name, index));
    }
    if (first.rfind("port1.", 0) == 0 || first.rfind("port2.", 0) == 0) return portValue(first);
    return propertyValue(first);
}

// portN.ITEM: the component's state, or what the program wrote to the line.
std::string Runner::portValue(const std::string& first) {
    const std::string which = first.substr(0, 5);
    const std::string item = first.substr(6);
    SerialPort& p = port(which);
    if (item == "written") return scenario::quoted(line(which).takeWritten());
    if (item == "DTR") return p.DTREnable() ? "True" : "False";
    if (item == "RTS") return p.RTSEnable() ? "True" : "False";
    if (item == "open") return p.PortOpen() ? "True" : "False";
    if (item == "settings") return scenario::quoted(p.Settings());
    if (item == "handshaking") return std::to_string(p.Handshaking());
    if (item == "number") return std::to_string(p.CommPort());
    throw SyntaxError("expected written, DTR, RTS, open, settings, handshaking or number");
}

// FORM.PROPERTY, FORM.CONTROL.PROPERTY or FORM.TOOLBAR.Buttons(N).PROPERTY.
std::string Runner::propertyValue(const std::string& first) {
    const auto parts = splitPath(first);
    if (parts.size() < 2)
        throw SyntaxError("expected a path FORM.CONTROL.PROPERTY, found " + first);
    Form* form = program_->form(parts[0]);
    if (!form) return "<unloaded>";
    std::optional<PropertyValue> v;
    if (parts.size() == 2) {
        v = form->get(parts[1]);
    } else {
        const auto [name, index] = nameAndIndex(parts[1]);
        Control* control = form->find(name, index);
        if (!control) throw Failure(first + ": no such control");
        if (parts.size() == 3) {
            v = control->get(parts[2]);
        } else {
            auto* bar = dynamic_cast<Toolbar*>(control);
            const auto [buttons, n] = nameAndIndex(parts[2]);
            if (!bar || !sameName(buttons, "Buttons") || n < 1 || n > bar->buttonCount())
                throw Failure(first + ": no such button");
            v = bar->Buttons(n).get(parts[3]);
        }
    }
    if (!v) throw Failure(first + ": no such property");
    return show(*v);
}

}  // namespace tvl::scenario
