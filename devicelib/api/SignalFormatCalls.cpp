// Reference, timing, signal-format and analogue adjustment calls. The gain
// deltas are signed: they travel sign-extended and come back as int32_t.
#include "QuorvaleVideoAudio.h"
#include "CallShapes.h"

using namespace quorvale;

int SetGenlockTimingOffset(QuorvaleInstanceRec* rec, uint32_t offset)
{ return writeWord(rec, req::SetGenlockTimingOffset, offset); }

int GetGenlockTimingOffset(QuorvaleInstanceRec* rec, uint32_t* offset)
{ return readWord(rec, req::GetGenlockTimingOffset, offset); }

int SetClockTimingAdjustment(QuorvaleInstanceRec* rec, uint32_t adjustment)
{ return writeWord(rec, req::SetClockTimingAdjustment, adjustment); }

int GetClockTimingAdjustment(QuorvaleInstanceRec* rec, uint32_t* adjustment)
{ return readWord(rec, req::GetClockTimingAdjustment, adjustment); }

int SetForceProgressiveVideo(QuorvaleInstanceRec* rec, uint32_t a, uint32_t b)
{ return writeScalars(rec, req::SetForceProgressiveVideo, a, b); }

int GetForceProgressiveVideo(QuorvaleInstanceRec* rec, uint32_t* a, uint32_t* b)
{ return readScalars(rec, req::GetForceProgressiveVideo, a, b); }

int GetInputReferenceStatus(QuorvaleInstanceRec* rec, uint32_t* status)
{ return readWord(rec, req::GetInputReferenceStatus, status); }

int SetAFrameInputReference(QuorvaleInstanceRec* rec, uint32_t reference)
{ return writeWord(rec, req::SetAFrameInputReference, reference); }

int GetAFrameInputReference(QuorvaleInstanceRec* rec, uint32_t* reference)
{ return readWord(rec, req::GetAFrameInputReference, reference); }

int SetAnalogueVideoOutputFormat(QuorvaleInstanceRec* rec, uint32_t format)
{ return writeWord(rec, req::SetAnalogueVideoOutputFormat, format); }

int GetAnalogueVideoOutputFormat(QuorvaleInstanceRec* rec, uint32_t query, uint8_t* format)
{ return queryFlag(rec, req::GetAnalogueVideoOutputFormat, query, format); }

int SetAnalogueVideoOutputFlags(QuorvaleInstanceRec* rec, uint32_t flags)
{ return writeWord(rec, req::SetAnalogueVideoOutputFlags, flags); }

int GetAnalogueVideoOutputFlags(QuorvaleInstanceRec* rec, uint32_t* flags)
{ return readWord(rec, req::GetAnalogueVideoOutputFlags, flags); }

int SetVideoInputFormat(QuorvaleInstanceRec* rec, uint32_t format)
{ return writeWord(rec, req::SetVideoInputFormat, format); }

int GetVideoInputFormat(QuorvaleInstanceRec* rec, uint32_t* format)
{ return readWord(rec, req::GetVideoInputFormat, format); }

int SetAnalogueVideoInputFlags(QuorvaleInstanceRec* rec, uint32_t flags)
{ return writeWord(rec, req::SetAnalogueVideoInputFlags, flags); }

int GetAnalogueVideoInputFlags(QuorvaleInstanceRec* rec, uint32_t* flags)
{ return readWord(rec, req::GetAnalogueVideoInputFlags, flags); }

int EnableAnalogueVideoInputAntialiasFilter(QuorvaleInstanceRec* rec, uint8_t enabled)
{ return writeFlag(rec, req::EnableAnalogueVideoInputAntialiasFilter, enabled); }

int IsAnalogueVideoInputAntialiasFilterEnabled(QuorvaleInstanceRec* rec, uint8_t* enabled)
{ return readFlag(rec, req::IsAnalogueVideoInputAntialiasFilterEnabled, enabled); }

int SetComponentAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b, int32_t c)
{ return writeScalars(rec, req::SetComponentAnalogueOutputGainDelta, a, b, c); }

int GetComponentAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b, int32_t* c)
{ return readScalars(rec, req::GetComponentAnalogueOutputGainDelta, a, b, c); }

int SetCompositeAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b)
{ return writeScalars(rec, req::SetCompositeAnalogueOutputGainDelta, a, b); }

int GetCompositeAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b)
{ return readScalars(rec, req::GetCompositeAnalogueOutputGainDelta, a, b); }

int SetSVideoAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b)
{ return writeScalars(rec, req::SetSVideoAnalogueOutputGainDelta, a, b); }

int GetSVideoAnalogueOutputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b)
{ return readScalars(rec, req::GetSVideoAnalogueOutputGainDelta, a, b); }

int SetComponentAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b, int32_t c)
{ return writeScalars(rec, req::SetComponentAnalogueInputGainDelta, a, b, c); }

int GetComponentAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b, int32_t* c)
{ return readScalars(rec, req::GetComponentAnalogueInputGainDelta, a, b, c); }

int SetCompositeAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b)
{ return writeScalars(rec, req::SetCompositeAnalogueInputGainDelta, a, b); }

int GetCompositeAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b)
{ return readScalars(rec, req::GetCompositeAnalogueInputGainDelta, a, b); }

int SetSVideoAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t a, int32_t b)
{ return writeScalars(rec, req::SetSVideoAnalogueInputGainDelta, a, b); }

int GetSVideoAnalogueInputGainDelta(QuorvaleInstanceRec* rec, int32_t* a, int32_t* b)
{ return readScalars(rec, req::GetSVideoAnalogueInputGainDelta, a, b); }
