#pragma once

#include "agent/LittleEndian.h"
#include "agent/described/CommandTable.h"
#include "agent/described/ScanSessions.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// A command on its way to an answer.
struct Exchange {
    const Command& command;
    const Route& route;
    MachineModel& model;
    ScanSessions& scans;
    Arguments arguments;

    const Piece& piece() const { return route.pieces.front(); }
    Place find() { return model.find(piece().path, arguments); }
    Answer absent(Absence absence) const {
        Answer answer(Status::notAvailable);
        answer.reason = absenceText(absence);
        return answer;
    }
};

/// @name Values
/// @{
Answer answerValue(Exchange& exchange);
Answer answerShared(Exchange& exchange);  ///< several values at offsets of one block
Answer answerBytes(Exchange& exchange);   ///< a list of numbers, a byte each
Answer answerWords(Exchange& exchange);
Answer answerLines(Exchange& exchange);
/// @}

/// @name Replies with a form of their own
/// @{
Answer answerParent(Exchange& exchange);
Answer answerPciAddresses(Exchange& exchange);
Answer answerPciHeader(Exchange& exchange);
Answer answerLogEntries(Exchange& exchange);
Answer answerPowerSamples(Exchange& exchange);
Answer answerAlarmIdentity(Exchange& exchange);
Answer answerScan(Exchange& exchange);
/// @}

/// @name Changes
/// @{
Answer acceptValue(Exchange& exchange);
Answer acceptAction(Exchange& exchange);
/// @}

}  // namespace varnock::agent
