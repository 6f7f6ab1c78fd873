/// The whole state machine framework: states, transitions and the machine.
#ifndef KIV_TINYSIMPLEFSM_H
#define KIV_TINYSIMPLEFSM_H

#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#endif
