// The yardstick of loading: a general XML parser's tree, copied into a hash map of plain records.
// It uses nothing of the library.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <vector>

namespace kelo::bench {

class PlainAccount {
 public:
  // What cannot be read adds nothing.
  void Load(const std::string& answer) {
    pugi::xml_document document;
    if (!document.load_buffer(answer.data(), answer.size())) return;
    const pugi::xml_node root = document.child("response");
    for (const auto item : root.child("rootAlbum").child("items").children("item"))
      AddItem("", item);
    for (const pugi::xml_node folder : root.child("folders").children("folder")) {
      const char* id = folder.attribute("folderId").value();
      Directory& added = directories_[id];
      added.name = folder.attribute("folderName").value();
      added.modifyDate = folder.attribute("modifyDate").value();
      directories_[""].directories.emplace_back(id);
      for (const auto album : folder.child("albums").children("album")) AddAlbum(id, album);
    }
    for (const auto album : root.child("albums").children("album")) AddAlbum("", album);
  }

  size_t ItemCount() const { return items_.size(); }

 private:
  struct Item {
    std::string album, fileName, fileFormat, modifyDate, shotDate, uploadDate, screenUrl, origUrl;
  };
  struct Directory {
    std::string parent, name, modifyDate;
    bool shared = false;
    std::vector<std::string> directories, items;
  };

  void AddAlbum(const char* parent, pugi::xml_node album) {
    const char* id = album.attribute("albumId").value();
    Directory& added = directories_[id];
    added.parent = parent;
    added.name = album.attribute("albumName").value();
    added.modifyDate = album.attribute("modifyDate").value();
    added.shared = album.attribute("shareFlag").as_bool();
    directories_[parent].directories.emplace_back(id);
    for (const auto item : album.child("items").children("item")) AddItem(id, item);
  }

  void AddItem(const char* album, pugi::xml_node item) {
    const char* id = item.attribute("itemId").value();
    const auto text = [item](const char* name) {
      return std::string(item.attribute(name).value());
    };
    items_.insert_or_assign(
        id, Item{album, text("fileName"), text("fileFormat"), text("modifyDate"), text("shotDate"),
                 text("uploadDate"), text("screenUrl"), text("origUrl")});
    directories_[album].items.emplace_back(id);
  }

  std::unordered_map<std::string, Item> items_;
  std::unordered_map<std::string, Directory> directories_;
};

}  // namespace kelo::bench
