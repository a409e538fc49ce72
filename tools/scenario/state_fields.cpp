#include "tools/scenario/state_fields.h"

#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

namespace tvl::scenario {

namespace {

// One entry: how many elements (0: a single value) and how to reach element i.
struct Field {
    int count;
    std::function<PropertyValue(const SharedState&, int)> read;
    std::function<void(SharedState&, int, const std::string&, bool)> write;
};

template <class T>
Field number(T SharedState::*member) {
    return {0, [member](const SharedState& s, int) { return PropertyValue(double(s.*member)); },
            [member](SharedState& s, int, const std::string& v, bool) {
                s.*member = static_cast<T>(std::stod(v));
            }};
}
template <class T, std::size_t N>
Field numbers(T (SharedState::*member)[N]) {
    return {int(N),
            [member](const SharedState& s, int i) { return PropertyValue(double((s.*member)[i])); },
            [member](SharedState& s, int i, const std::string& v, bool) {
                (s.*member)[i] = static_cast<T>(std::stod(v));
            }};
}
Field text(std::string SharedState::*member) {
    return {0, [member](const SharedState& s, int) { return PropertyValue(s.*member); },
            [member](SharedState& s, int, const std::string& v, bool) { s.*member = v; }};
}
template <std::size_t N>
Field texts(std::string (SharedState::*member)[N]) {
    return {int(N), [member](const SharedState& s, int i) { return PropertyValue((s.*member)[i]); },
            [member](SharedState& s, int i, const std::string& v, bool) { (s.*member)[i] = v; }};
}
Field records(std::vector<std::string> SharedState::*member) {
    return {-1, [member](const SharedState& s, int i) { return PropertyValue((s.*member).at(i)); },
            [member](SharedState& s, int i, const std::string& v, bool) {
                auto& entries = s.*member;
                if (static_cast<std::size_t>(i) >= entries.size()) entries.resize(i + 1);
                entries[i] = v;
            }};
}

const std::map<std::string, Field>& fields() {
    static const std::map<std::string, Field> table = {
        {"operationmode", number(&SharedState::OperationMode)},
        {"monitorchoice", number(&SharedState::MonitorChoice)},
        {"savingmode", number(&SharedState::SavingMode)},
        {"displaymode", number(&SharedState::DisplayMode)},
        {"commsettings", texts(&SharedState::CommSettings)},
        {"commhandle", numbers(&SharedState::CommHandle)},
        {"transmitcount", numbers(&SharedState::TransmitCount)},
        {"receivecount", numbers(&SharedState::ReceiveCount)},
        {"counterinitdone", numbers(&SharedState::CounterInitDone)},
        {"presentvalue1", texts(&SharedState::PresentValue1)},
        {"convertedvalue1", texts(&SharedState::ConvertedValue1)},
        {"presentvalue2", texts(&SharedState::PresentValue2)},
        {"convertedvalue2", texts(&SharedState::ConvertedValue2)},
        {"maxpresentlength", numbers(&SharedState::MaxPresentLength)},
        {"watchstring", texts(&SharedState::WatchString)},
        {"watcharmed", numbers(&SharedState::WatchArmed)},
        {"lastbyte", texts(&SharedState::LastByte)},
        {"matchposition", numbers(&SharedState::MatchPosition)},
        {"matchbuffer", texts(&SharedState::MatchBuffer)},
        {"matchfailed", numbers(&SharedState::MatchFailed)},
        {"runstate", number(&SharedState::RunState)},
        {"paneseen", numbers(&SharedState::PaneSeen)},
        {"recordcount", number(&SharedState::RecordCount)},
        {"recordindex", number(&SharedState::RecordIndex)},
        {"recordport1", records(&SharedState::RecordPort1)},
        {"recordport2", records(&SharedState::RecordPort2)},
        {"reviewheader1", text(&SharedState::ReviewHeader1)},
        {"reviewheader2", text(&SharedState::ReviewHeader2)},
    };
    return table;
}

const Field& field(const std::string& name, int index) {
    std::string key;
    for (char c : name)
        key.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    auto found = fields().find(key);
    if (found == fields().end())
        throw std::invalid_argument("the shared state has no entry " + name);
    const Field& f = found->second;
    if (f.count == 0 && index >= 0) throw std::invalid_argument(name + " is not an array");
    if (f.count != 0 && index < 0) throw std::invalid_argument(name + " needs an index");
    if (f.count > 0 && index >= f.count)
        throw std::invalid_argument(name + "(" + std::to_string(index) + ") is out of bounds");
    return f;
}

}  // namespace

PropertyValue readState(const SharedState& state, const std::string& name, int index) {
    const Field& f = field(name, index);
    try {
        return f.read(state, index);
    } catch (const std::out_of_range&) {
        throw std::invalid_argument(name + "(" + std::to_string(index) + ") is out of bounds");
    }
}

void writeState(SharedState& state, const std::string& name, int index, const std::string& value,
                bool quotedValue) {
    const Field& f = field(name, index);
    try {
        f.write(state, index, value, quotedValue);
    } catch (const std::logic_error&) {
        throw std::invalid_argument("\"" + value + "\" is not a value for " + name);
    }
}

}  // namespace tvl::scenario
