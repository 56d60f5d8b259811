// The multipart body of an upload, made the plain way.
#pragma once

#include <string>
#include <vector>

#include "devservice/Client.h"

namespace kelo::devservice {

struct File {
  std::string name;
  std::string bytes;
  std::string more =
      " fileCreateDate=\"2026:01:01 10:00:00\" fileModifyDate=\"2026:01:02 11:00:00\"";
};

// The pieces of an upload, each of which a test can spoil.
struct Upload {
  std::string document;
  std::string body;
};

inline Upload MakeUpload(const std::vector<File>& files,
                         const std::string& opening = "<UploadItems>") {
  Upload upload;
  upload.document = Client::kDeclarations + opening + "\r\n<items>\r\n";
  std::string parts;
  for (std::size_t i = 0; i < files.size(); ++i) {
    upload.document += "<item idx=\"" + std::to_string(i + 1) + "\" fileName=\"" + files[i].name +
                       "\" size=\"" + std::to_string(files[i].bytes.size()) + "\"" + files[i].more +
                       " />\r\n";
    parts += "\r\n--BOUNDARY\r\nContent-Disposition: form-data; name=\"" + files[i].name +
             "\"\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: "
             "binary\r\n\r\n" +
             files[i].bytes;
  }
  upload.document += "</items>\r\n</UploadItems>\r\n";
  upload.body =
      "--BOUNDARY\r\nContent-Disposition: form-data; name=\"XML\"\r\n"
      "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
      upload.document + parts + "\r\n--BOUNDARY--\r\n";
  return upload;
}

inline Response Post(Client& client, const Upload& upload,
                     const std::string& type = "multipart/form-data; boundary=BOUNDARY") {
  return client.Send("POST", client.uploadUrl + "?" + client.Query(upload.document), &upload.body,
                     {"Content-Type: " + type});
}

}  // namespace kelo::devservice
