// Capture calls (the completed-frame call has a file of its own).
#include "QuorvaleVideoAudio.h"
#include "CallShapes.h"

using namespace quorvale;

int HardwareVideoInputOn(QuorvaleInstanceRec* rec, uint32_t mode)
{ return writeWord(rec, req::HardwareVideoInputOn, mode); }

int HardwareVideoInputOff(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::HardwareVideoInputOff); }

int GetVideoInputDisplayMode(QuorvaleInstanceRec* rec, uint32_t* mode)
{ return readWord(rec, req::GetVideoInputDisplayMode, mode); }

int HardwareSetVideoInputDisplayMode(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c)
{ return writeScalars(rec, req::HardwareSetVideoInputDisplayMode, a, b, c); }

int HardwareGetVideoInputFrameBufferSizeForMode(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c, uint32_t* size)
{ return exchangeScalars(rec, req::HardwareGetVideoInputFrameBufferSizeForMode, inputs(a, b, c), size); }

int HardwareProvideFrameForVideoInput(QuorvaleInstanceRec* rec, const QuorvaleFrameDescriptor* frame)
{ return writeRecord(rec, req::HardwareProvideFrameForVideoInput, *frame); }

int DoesSupportVideoInputMode(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t* supported)
{ return exchangeScalars(rec, req::DoesSupportVideoInputMode, inputs(a, b), supported); }

// The caller's byte count travels as is, unlike completed playback frames.
int HardwareGetFlushedInputFrames(QuorvaleInstanceRec* rec, void* buffer, uint32_t* byteCount)
{ return readRecords<1>(rec, req::HardwareGetFlushedInputFrames, buffer, byteCount); }

int RecycleCompletedVideoInputFrames(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::RecycleCompletedVideoInputFrames); }

int ResetVideoInput(QuorvaleInstanceRec* rec)
{ return bareRequest(rec, req::ResetVideoInput); }

int SetCaptureVANCLines(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b, uint32_t c)
{ return writeScalars(rec, req::SetCaptureVANCLines, a, b, c); }

int GetCaptureVANCLines(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b, uint32_t* c)
{ return readScalars(rec, req::GetCaptureVANCLines, a, b, c); }

int SetVideoInputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t mode)
{ return writeWord(rec, req::SetVideoInputDownconversionMode, mode); }

int GetVideoInputDownconversionMode(QuorvaleInstanceRec* rec, uint32_t* mode)
{ return readWord(rec, req::GetVideoInputDownconversionMode, mode); }

// Not offered by this library.
int VideoInputSetAudioInputResyncToken(QuorvaleInstanceRec*, uint32_t)
{ return kQuorvaleBadArgument; }
