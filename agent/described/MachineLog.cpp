#include "agent/described/MachineLog.h"

#include <algorithm>

#include "agent/model/Notation.h"

namespace varnock::agent {
namespace {

/// A full log loses its oldest entry. False if it stops instead.
bool makeRoom(const Node& log, Node& entries) {
    const Node* capacity = memberOf(log, "capacity");
    if (capacity == nullptr || !capacity->IsUint() || entries.Size() < capacity->GetUint()) {
        return true;
    }
    const Node* stops = memberOf(log, "stopsWhenFull");
    if (entries.Empty() || (stops != nullptr && stops->IsBool() && stops->GetBool())) {
        return false;
    }
    entries.Erase(entries.Begin());
    return true;
}

unsigned nextNumber(const Node& entries) {
    unsigned last = 0;
    for (const Node& entry : entries.GetArray()) {
        const Node* number = memberOf(entry, "number");
        last = number != nullptr && number->IsUint() ? std::max(last, number->GetUint()) : last;
    }
    return last + 1;
}

}  // namespace

bool MachineLog::append(unsigned cabinet, const LogNote& note) {
    Node* place =
        model_.find(catalogue::modelPath("cabinets[" + std::to_string(cabinet) + "]")).value;
    Node* log = place != nullptr ? memberOf(*place, "messageLog") : nullptr;
    Node* entries = log != nullptr ? memberOf(*log, "entries") : nullptr;
    if (entries == nullptr || !entries->IsArray()) {
        return false;
    }
    const unsigned number = nextNumber(*entries);
    if (!makeRoom(*log, *entries)) {
        return false;
    }
    JsonHeap& heap = model_.heap();
    Node entry(rapidjson::kObjectType);
    entry.AddMember("number", number, heap);
    entry.AddMember("id", note.message, heap);
    entry.AddMember("time", Node(timeText(model_.now().epoch).c_str(), heap), heap);
    entry.AddMember("severity", Node(std::string(nameOf(note.severity)).c_str(), heap), heap);
    entry.AddMember("text", Node(note.text.c_str(), heap), heap);
    entries->PushBack(entry, heap);
    const Node* cabinetNumber = memberOf(*place, "number");
    if (listener_) {
        listener_(number, cabinetNumber != nullptr && cabinetNumber->IsUint()
                              ? cabinetNumber->GetUint()
                              : 0);
    }
    return true;
}

bool MachineLog::appendTo(unsigned number, const LogNote& note) {
    const std::string text = "cabinets[number=" + std::to_string(number) + "]";
    const Place place = model_.find(catalogue::modelPath(text));
    return place.value != nullptr &&
           append(static_cast<unsigned>(place.value - place.holder->Begin()), note);
}

}  // namespace varnock::agent
