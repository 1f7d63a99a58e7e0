// One view over the two kinds of traffic that reach the locator, GIOP Requests and LocateRequests: an object key, and
// one answer, which is a location forward or an exception.
//
// Request data and callback are not owned: the front door keeps them until the callback has been told that the request
// is finished. Exactly one of set_forward_ior and set_exception is called once, on this object or on a copy of it, from
// any thread; after that neither may be used again except to be destroyed. One object is used by one thread at a time.
#pragma once

#include <qz_binding.hh>

#include <memory>

class RequestInfoBase {
 public:
  virtual ~RequestInfoBase() = default;
  RequestInfoBase& operator=(const RequestInfoBase&) = delete;

  // Null when the request carries none. Lives as long as this object and the request.
  virtual const CORBA::OctetSeq* object_key() = 0;
  virtual void set_forward_ior(QZ_IOR::IOR_ptr ior) = 0;
  virtual void set_exception(const CORBA::Exception& ex) = 0;
  // Nobody waits for the answer any more.
  bool abandoned() const { return m_callback->abandoned(); }
  // Shares request data and callback with this object.
  virtual std::unique_ptr<RequestInfoBase> copy() const = 0;

 protected:
  explicit RequestInfoBase(QZ_Binding::ServerRequestCallback_ptr callback) : m_callback(callback) {}
  // The octets of the key are the front door's, so there is nothing of it to copy.
  RequestInfoBase(const RequestInfoBase& other) : m_callback(other.m_callback) {}

  void complete();

  const QZ_Binding::ServerRequestCallback_ptr m_callback;
  CORBA::OctetSeq_var m_key;  // view, fetched at the first use
};

class RequestInfo : public RequestInfoBase {
 public:
  RequestInfo(QZ_Binding::ServerRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback)
      : RequestInfoBase(callback), m_data(data) {}

  const CORBA::OctetSeq* object_key() override;
  void set_forward_ior(QZ_IOR::IOR_ptr ior) override;
  void set_exception(const CORBA::Exception& ex) override;
  std::unique_ptr<RequestInfoBase> copy() const override { return std::make_unique<RequestInfo>(*this); }

 private:
  const QZ_Binding::ServerRequestData_ptr m_data;
};

// OBJECT_NOT_EXIST is answered with the reply status for an unknown object, any other exception as an exception.
class LocateRequestInfo : public RequestInfoBase {
 public:
  LocateRequestInfo(QZ_Binding::ServerLocateRequestData_ptr data, QZ_Binding::ServerRequestCallback_ptr callback)
      : RequestInfoBase(callback), m_data(data) {}

  const CORBA::OctetSeq* object_key() override;
  void set_forward_ior(QZ_IOR::IOR_ptr ior) override;
  void set_exception(const CORBA::Exception& ex) override;
  std::unique_ptr<RequestInfoBase> copy() const override { return std::make_unique<LocateRequestInfo>(*this); }

 private:
  const QZ_Binding::ServerLocateRequestData_ptr m_data;
};
