// The scenes of the demonstration, in the order in which they are played.
#pragma once

#include "tools/zqm/DemoStage.h"
#include "zqm/queue/ZQMQueueModel.h"

namespace zqm::tools {

// What an integrator prepares.
void showMaterial(DemoStage& stage);

// The first launch: registration, configuration, device, and what the kit module leaves to send.
Launch showFirstLaunch(DemoStage& stage);
void showRegistration(DemoStage& stage, const Launch& first);
void showConfiguration(DemoStage& stage, const Launch& first);
void showDevice(DemoStage& stage, const Launch& first);
void showQueue(DemoStage& stage);

// Each item of a queue on a line.
void showItems(DemoStage& stage, const ZQMQueueModel& queue);

// The second: an hour later on a cellular link, in another time zone.
void showChangedFact(DemoStage& stage, const Launch& first);
// Two more: the hours of an ordinary item have passed; Wi-Fi is back.
void showHoldBackEnd(DemoStage& stage);
void showWifiAgain(DemoStage& stage);
// The backend does not know the installation any more, and it registers anew.
void showReset(DemoStage& stage);

}  // namespace zqm::tools
