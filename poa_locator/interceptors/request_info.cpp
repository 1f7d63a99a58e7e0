#include "poa_locator/interceptors/request_info.h"

void RequestInfoBase::complete() {
  m_callback->outcome_set();
  m_callback->finished();
}

const CORBA::OctetSeq* RequestInfo::object_key() {
  if (!m_key.operator->()) m_key = m_data->object_key();
  return m_key.operator->();
}

void RequestInfo::set_forward_ior(QZ_IOR::IOR_ptr ior) {
  m_data->set_forward(ior, false);
  complete();
}

void RequestInfo::set_exception(const CORBA::Exception& ex) {
  CORBA::Any any;
  any <<= ex;
  m_data->set_exception(any, true);
  complete();
}

const CORBA::OctetSeq* LocateRequestInfo::object_key() {
  if (!m_key.operator->()) m_key = m_data->object_key();
  return m_key.operator->();
}

void LocateRequestInfo::set_forward_ior(QZ_IOR::IOR_ptr ior) {
  m_data->set_forward(ior, false);
  complete();
}

void LocateRequestInfo::set_exception(const CORBA::Exception& ex) {
  if (CORBA::OBJECT_NOT_EXIST::_downcast(&ex)) {
    m_data->set_unknown_object();
  } else {
    CORBA::Any any;
    any <<= ex;
    m_data->set_exception(any);
  }
  complete();
}
