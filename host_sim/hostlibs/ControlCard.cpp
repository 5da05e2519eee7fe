// HXL_ControlCard: the robot service and its current machine.

#include "host/IZKRobotService.h"

IZKMachine::~IZKMachine() = default;
IZKRobotService::~IZKRobotService() = default;
