#include "CIM/Provider/Include/Exceptions.h"

#include <new>

#include "CIM/Provider/Include/ProviderTrace.h"

namespace provider {

BaseException::BaseException(const char* file, int line, const cimple::String& message)
    : file_(file != nullptr ? file : ""), line_(line), message_(message) {}

BaseException::~BaseException() = default;

cimple::String BaseException::toString() const {
    cimple::String text = className();
    text.append(": ");
    text.append(fullText());
    return text;
}

cimple::String BaseException::className() const {
    return "BaseException";
}

cimple::String BaseException::fullText() const {
    cimple::String text("file=\"");
    text.append(file_);
    text.append("\" line=");
    text.append(toDecString(line_));
    text.append(" message=\"");
    text.append(message_);
    text.append("\"");
    return text;
}

void BaseException::trace() const {
    if (!Debug.IsOn(1)) {
        return;
    }
    try {
        Debug.Print(1, VARNOCK_TRACE_TAG "traceAndThrow(): %S", toString().c_str());
    } catch (const std::bad_alloc&) {
        // The exception is thrown all the same; only its line is lost.
    }
}

HandlerExceptionInfo::~HandlerExceptionInfo() = default;

CimErrorExceptionInfo::~CimErrorExceptionInfo() = default;

HandlerException::HandlerException(const char* file, int line, const cimple::String& message,
                                   int id)
    : BaseException(file, line, message), id_(id) {}

HandlerException::~HandlerException() = default;

cimple::String HandlerException::className() const {
    return "HandlerException";
}

cimple::String HandlerException::fullText() const {
    cimple::String text = BaseException::fullText();
    text.append(" id=");
    text.append(toDecString(id_));
    return text;
}

int HandlerException::getId() const {
    return id_;
}

CimErrorException::CimErrorException(const char* file, int line, const cimple::String& message,
                                     CimError cimError)
    : BaseException(file, line, message), cimError_(cimError) {}

CimErrorException::~CimErrorException() = default;

cimple::String CimErrorException::className() const {
    return "CimErrorException";
}

cimple::String CimErrorException::fullText() const {
    cimple::String text = BaseException::fullText();
    text.append(" cimErr=");
    text.append(toDecString(static_cast<int>(cimError_)));
    return text;
}

CimError CimErrorException::getCimError() const {
    return cimError_;
}

cimple::String toDecString(int value) {
    return toStringImpl("%d", value);
}

cimple::String toDecString(unsigned int value) {
    return toStringImpl("%u", value);
}

cimple::String toHexString(int value) {
    return toHexString(static_cast<unsigned int>(value));
}

cimple::String toHexString(unsigned int value) {
    return toStringImpl("%x", value);
}

}  // namespace provider
