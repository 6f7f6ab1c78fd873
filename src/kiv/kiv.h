/// Includes every public header; meant for small programs, larger ones include what they use.
#ifndef KIV_KIV_H
#define KIV_KIV_H

#include <kiv/Mutex.h>
#include <kiv/err_codes.h>

#endif
