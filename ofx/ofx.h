#ifndef SQ_OFX_H
#define SQ_OFX_H

/* Everything our OpenFX declarations offer, in one include. */

#include "ofxCore.h"
#include "ofxProperty.h"
#include "ofxParam.h"
#include "ofxMemory.h"
#include "ofxMultiThread.h"
#include "ofxMessage.h"
#include "ofxProgress.h"
#include "ofxInteract.h"
#include "ofxImageEffect.h"
#include "ofxOpenGLRender.h"

#endif /* SQ_OFX_H */
