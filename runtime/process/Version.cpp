#include "runtime/Version.h"

constinit const char* TovQXObjectProductName = "Varnock CIM Provider Linux";
constinit const char* TovQXObjectVendor = "Varnock";
constinit const char* TovQXObjectVersion = "7.00-10";
constinit const char* TovQXObjectMilestone = " ";
constinit const char* TovQXObjectLegalCopyright = "Copyright (C) Varnock";
constinit const char* TovQXObjectName = "CIM_Provider";
constinit const char* TovQXObjectDate = "2014/10/27-16:33";
constinit const char* TovQXObjectDescription = "Varnock CIM_Provider";
