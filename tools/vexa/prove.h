// What the parts of `vexa prove backend` share: the backend that is tried, and a session with it that finds
// fault with every reply that is not what the interface describes.
#ifndef PROVE_H
#define PROVE_H

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CleXDSmb.h"
#include "backend.h"
#include "described.h"
#include "driven_backend.h"
#include "prove_report.h"

using Action = CleXDSmb::CommandAction;

struct Trial {
  Launch launch;
  const Description& described;
  Report& report;
  std::map<int, std::int32_t> refused;  // what is not served, with the code that said so
  std::size_t lost = 0;                 // sessions that broke off

  bool Serves(Action action) const { return refused.count(static_cast<int>(action)) == 0; }
  // Nothing more is learnt from a backend that breaks off again and again.
  bool GivenUp() const { return lost >= kMostLost; }
  static constexpr std::size_t kMostLost = 4;
};

class TriedSession {
 public:
  // Starts it, which is a fault where it fails.
  explicit TriedSession(Trial& trial);

  // False once it did not start, or broke off: then nothing more is asked or said.
  bool Goes() const { return goes; }
  bool Serves(Action action) const { return of.Serves(action); }
  // What comes back; what is wrong with its shape is a fault of that function.
  Frame Ask(Action action, Frame arguments = {});
  // The same for bytes of any kind.
  Heard AskBytes(const std::string& bytes);
  void Check(bool good, const std::string& check, const std::string& why);
  void Left(const std::string& check, const Frame& refusal);
  DrivenBackend& Backend() { return *backend; }
  std::string Shown() const;  // the last exchange

 private:
  void Break(const std::string& check, const std::string& why);

  Trial& of;
  PrivateDirectory directory;
  std::unique_ptr<DrivenBackend> backend;
  std::set<std::pair<std::string, bool>> told;
  bool goes = false;
};

// Lines of the last exchanges of a backend.
std::string ShownExchanges(const DrivenBackend& backend, const Description& described, std::size_t most);
// What a code stands for in a line: "code 2010 (the action is not served)".
std::string CodeOf(const Frame& reply);
// Why a reply is not what functions.json has of it; empty for nothing.
std::string WhyOtherShape(const nlohmann::json& function, const Frame& reply);

void ProveStart(Trial& trial);
void ProveServed(Trial& trial);
void ProveDictionaries(Trial& trial);
void ProveCases(Trial& trial);
void ProveNewVariables(Trial& trial);
void ProveDataStep(Trial& trial);
void ProveOutput(Trial& trial);
void ProveMalformed(Trial& trial);
void ProveDeath(Trial& trial);
void ProveStop(Trial& trial);

#endif
