// A server that takes its time to start. Once it registers its POA, it writes when that was, and its process id.
#include <omniORB4/CORBA.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

#include "adapters/omniorb/locator_registration.h"

namespace {

// The reader must see the file whole.
void write_report(const std::string& path) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
  const std::string unfinished = path + ".part";
  std::ofstream(unfinished) << now << " " << getpid() << std::endl;
  if (std::rename(unfinished.c_str(), path.c_str()) != 0) throw std::runtime_error("cannot write " + path);
}

void serve(CORBA::ORB_ptr orb, const std::string& poa, const std::string& report) {
  std::once_flag reported;
  PoaLocator::LocatorRegistration registration(
      orb, {}, [&](PoaLocator::LocatorRegistration& self, const std::string& path) {
        if (path != poa) return false;
        std::call_once(reported, write_report, report);
        const PortableServer::POA_var made = self.create_poa(path, {}, [](PortableServer::POA_ptr) {});
        return true;
      });
  orb->run();
}

}  // namespace

int main(int argc, char** argv) {
  double delay = 0;
  std::string poa;
  std::string report;
  CLI::App app("Serves one POA, on demand, of a locator that starts it.");
  app.add_option("--delay", delay, "Seconds that the start takes")->capture_default_str();
  app.add_option("--poa", poa, "Path of the POA")->required();
  app.add_option("--report", report, "File to write the time of the registration to, and the process id")->required();
  CLI11_PARSE(app, argc, argv);
  std::this_thread::sleep_for(std::chrono::duration<double>(delay));
  try {
    const char* options[][2] = {{"endPoint", "giop:tcp:127.0.0.1:"}, {nullptr, nullptr}};
    int no_arguments = 0;
    const CORBA::ORB_var orb = CORBA::ORB_init(no_arguments, nullptr, "", options);
    const CORBA::Object_var root_object = orb->resolve_initial_references("RootPOA");
    const PortableServer::POA_var root = PortableServer::POA::_narrow(root_object);
    const PortableServer::POAManager_var manager = root->the_POAManager();
    manager->activate();
    serve(orb, poa, report);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "slow_server: " << error.what() << std::endl;
  } catch (const CORBA::Exception& exception) {
    std::cerr << "slow_server: CORBA exception " << exception._name() << std::endl;
  }
  return 1;
}
