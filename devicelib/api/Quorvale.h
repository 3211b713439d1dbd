/*
 * Quorvale device access library: the whole public interface.
 *
 * Plain C calls over the cards' drivers. Every device call takes an open
 * QuorvaleInstanceRec first and returns an int status (see QuorvaleTypes.h);
 * the library logs nothing.
 */
#ifndef QUORVALE_H
#define QUORVALE_H

#include "QuorvaleTypes.h"
#include "QuorvaleAccess.h"
#include "QuorvaleDiscovery.h"
#include "QuorvaleInformation.h"
#include "QuorvaleVideoAudio.h"
#include "QuorvaleMaintenance.h"

#endif
