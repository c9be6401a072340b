#pragma once

#include "util/Export.h"

/// The version record of the library: constant texts, valid from before the first constructor.
/// The trace header prints them, and the agent knows this client as TovQXObjectName.
extern VARNOCK_EXPORT const char* TovQXObjectProductName;
extern VARNOCK_EXPORT const char* TovQXObjectVendor;
extern VARNOCK_EXPORT const char* TovQXObjectVersion;  ///< major.minor-build, "7.00-10"
extern VARNOCK_EXPORT const char* TovQXObjectMilestone;
extern VARNOCK_EXPORT const char* TovQXObjectLegalCopyright;
extern VARNOCK_EXPORT const char* TovQXObjectName;  ///< "CIM_Provider"
extern VARNOCK_EXPORT const char* TovQXObjectDate;
extern VARNOCK_EXPORT const char* TovQXObjectDescription;
