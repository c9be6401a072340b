#include "cli/calls/ObservedClient.h"

#include <stdio.h>
#include <time.h>

#include <iterator>

#include "tools/Console.h"

namespace varnockctl {

void showRecord(char direction, const std::string& record) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char stamp[32];
    const size_t length = strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
    snprintf(stamp + length, sizeof stamp - length, ".%06ld ", now.tv_nsec / 1000);
    varnock::console::say(std::string(stamp) + direction + ' ' + record);
}

int ObservedClient::send(SipJson& record) {
    if (inner_ == nullptr) {
        record.ClearData();
        record.SetStatus(0);
        return 0;
    }
    return inner_->request(record);
}

int ObservedClient::request(SipJson& record) {
    Exchange& exchange = exchanges_.emplace_back();
    exchange.sent = record.Export();
    // These values remain if the client throws, because nothing could be sent.
    exchange.result = 1;
    exchange.status = toNumber(varnock::CommandStatus::noChannel);
    if (wire_) {
        showRecord('>', exchange.sent);
    }
    exchange.result = send(record);
    exchange.status = record.Status();
    exchange.hasData = record.HasReplyData();
    unsigned int number = 0;
    exchange.isNumber = record.GetCmdUIntData(0, number);
    if (wire_) {
        showRecord('<', record.Export());
    }
    return exchange.result;
}

provider::KOLMEvents* ObservedClient::events() {
    return inner_ != nullptr ? inner_->events() : nullptr;
}

}  // namespace varnockctl
