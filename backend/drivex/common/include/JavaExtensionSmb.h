// JavaExtensionSmb: what the Java extension is given to work on, an opaque block of bytes, and where its jars
// lie. There is one for the process: every object sees the same values. The process that drives fills them
// before the language starts; nothing is locked.
#ifndef JAVAEXTENSIONSMB_H
#define JAVAEXTENSIONSMB_H

#include <string>

#include "vexa_api.h"

class VEXA_API JavaExtensionSmb {
 public:
  JavaExtensionSmb();
  ~JavaExtensionSmb() = default;

  // One directory, or a list of them with ":" between.
  void SetExtensionPath(std::string path) { m_extensionPath = std::move(path); }
  std::string GetExtensionPath() const { return m_extensionPath; }
  void SetCommandName(std::string name) { m_commandName = std::move(name); }
  std::string GetCommandName() const { return m_commandName; }
  // Whether the path names directories, each of which holds a jar named after the command. Otherwise the path
  // is a class path as it stands.
  bool IsPackageMode() const { return m_isPackage; }
  void SetPackageMode(bool package) { m_isPackage = package; }

  // The length goes first: SetSendBuf copies that many bytes.
  int GetDataLen() const { return m_dataLen; }
  void SetDataLen(int length) { m_dataLen = length; }
  void SetSendBuf(void* data);
  void* GetSendBuf(int& length) const;

  // Frees the bytes, forgets the texts and goes back to the package mode. The length stays.
  void CleanUp();

 private:
  static bool m_isPackage;
  static int m_dataLen;
  static std::string m_extensionPath;
  static std::string m_commandName;
  static void* m_data;  // from malloc
};

#endif
