#pragma once

#include <stdio.h>

#include <cimple/String.h>

#include "util/Export.h"

/// The failures of the provider layer. They derive from no standard exception; catch
/// provider::BaseException for all of them, or HandlerExceptionInfo or CimErrorExceptionInfo for
/// the number alone.
///
/// Thread-safety: plain values; one object is to be used by one thread at a time.
namespace provider {

/// DMTF status codes of CIM operations. Any other number can be carried too.
enum CimError : int {
    CIM_ERR_OK = 0,
    CIM_ERR_FAILED = 1,
    CIM_ERR_ACCESS_DENIED = 2,
    CIM_ERR_INVALID_PARAMETER = 4,
    CIM_ERR_NOT_FOUND = 6,
    CIM_ERR_NOT_SUPPORTED = 7,
};

class VARNOCK_EXPORT BaseException {
  public:
    /// `file` is not copied and must outlive the exception (a literal); null shows as "".
    BaseException(const char* file, int line, const cimple::String& message);
    BaseException(const BaseException&) = default;
    BaseException& operator=(const BaseException&) = default;
    virtual ~BaseException();

    /// "<className>: <fullText>"
    virtual cimple::String toString() const;
    virtual cimple::String className() const;
    /// `file="<file>" line=<line> message="<message>"`, then what the derived class adds.
    virtual cimple::String fullText() const;

    /// Prints toString() at trace level 1. Builds no text when that level is off.
    void trace() const;

  private:
    const char* file_;
    int line_;
    cimple::String message_;
};

class VARNOCK_EXPORT HandlerExceptionInfo {
  public:
    HandlerExceptionInfo() = default;
    HandlerExceptionInfo(const HandlerExceptionInfo&) = default;
    HandlerExceptionInfo& operator=(const HandlerExceptionInfo&) = default;
    virtual int getId() const = 0;
    virtual ~HandlerExceptionInfo();
};

class VARNOCK_EXPORT CimErrorExceptionInfo {
  public:
    CimErrorExceptionInfo() = default;
    CimErrorExceptionInfo(const CimErrorExceptionInfo&) = default;
    CimErrorExceptionInfo& operator=(const CimErrorExceptionInfo&) = default;
    virtual CimError getCimError() const = 0;
    virtual ~CimErrorExceptionInfo();
};

/// A failure with a number of the provider's own.
class VARNOCK_EXPORT HandlerException : public BaseException, public HandlerExceptionInfo {
  public:
    HandlerException(const char* file, int line, const cimple::String& message, int id);
    HandlerException(const HandlerException&) = default;
    HandlerException& operator=(const HandlerException&) = default;
    ~HandlerException() override;

    cimple::String className() const override;
    cimple::String fullText() const override;
    int getId() const override;

  private:
    int id_;
};

/// A failure with the status code that the CIM operation is to end with.
class VARNOCK_EXPORT CimErrorException : public BaseException, public CimErrorExceptionInfo {
  public:
    CimErrorException(const char* file, int line, const cimple::String& message, CimError cimError);
    CimErrorException(const CimErrorException&) = default;
    CimErrorException& operator=(const CimErrorException&) = default;
    ~CimErrorException() override;

    cimple::String className() const override;
    cimple::String fullText() const override;
    CimError getCimError() const override;

  private:
    CimError cimError_;
};

/// The one way to raise: traces the exception, then throws it as type T.
template <class T>
[[noreturn]] void traceAndThrow(T exception) {
    exception.trace();
    throw T(exception);
}

/// Formats one number; `format` is a literal with one conversion that fits T.
template <typename T>
cimple::String toStringImpl(const char* format, T value) {
    char text[32];
    snprintf(text, sizeof text, format, value);
    return cimple::String(text);
}

VARNOCK_EXPORT cimple::String toDecString(int value);
VARNOCK_EXPORT cimple::String toDecString(unsigned int value);
/// Lower case, no prefix, no leading zeros; a negative value as its 32-bit two's complement.
VARNOCK_EXPORT cimple::String toHexString(int value);
VARNOCK_EXPORT cimple::String toHexString(unsigned int value);

}  // namespace provider
