#pragma once
// modVoktal: starts the voice companion and tells it with whom to talk. Does nothing unless "Enable Voktal"
// is exactly "1". Errors are never shown; they go to the event log. User-interface thread only.

#include <QString>

#include "base/process_state.h"

/// chkTalk is enabled exactly then.
bool VoktalEnabled(ProcessState& state);
/// Reads "Voktal Port" into gVoktalPort; below 1, no number or beyond 16 bits: 2074.
void LoadVoktalPort(ProcessState& state);
/// Starts the companion unless it runs.
void StartVoktal(ProcessState& state);
/// A companion that does not run is started, and this request is lost.
void VoiceAddParticipant(ProcessState& state, const QString& address, const QString& handle);
void VoiceStopParticipant(ProcessState& state, const QString& address, const QString& handle);
void VoiceRemoveParticipant(ProcessState& state, const QString& address, const QString& handle);
/// Adds or stops everybody but the own handle, in the order of gUsers.
void chkTalk_Click(ProcessState& state);
/// While "Talk" is checked a companion has come to the door: it is told of everybody.
void VoiceCompanionCame(ProcessState& state);
/// EndProgram's part: asks a running companion to close.
void CloseVoktal(ProcessState& state);
