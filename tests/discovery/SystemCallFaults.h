// Faults injected into the system calls the discovery channel makes, linked
// in with --wrap. Each knob fails the next matching calls; the environment
// variable QUORVALE_FAULT_MMAP_FAILS=1 makes every mapping of the segment
// fail in a helper process from its start.
#ifndef SYSTEM_CALL_FAULTS_H
#define SYSTEM_CALL_FAULTS_H

namespace faults {

void failSegmentSizing(bool fail);   // ftruncate fails with EIO
void failSegmentReopen(bool fail);   // shm_open without O_CREAT fails with EACCES
void failThreadCreation(bool fail);  // pthread_create fails with EAGAIN
void failNextCalloc(bool fail);      // the next calloc returns null
void failNextNothrowNew(bool fail);  // the next new(std::nothrow) returns null

int consistentCalls();  // pthread_mutex_consistent calls so far

}  // namespace faults

#endif
