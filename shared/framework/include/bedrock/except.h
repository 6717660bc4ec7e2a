#pragma once

#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <bedrock/i18n.h>
#include <resource_core/BaseMsgID.h>
#include <tarn/export.h>

/// Exceptions that carry the identity of a message. They are thrown in one shared library and caught by type in others;
/// so everything here is inline with default visibility, and no library needs a symbol of another one to catch them.
namespace bedrock::except {

/// Root of the chain. Not a std::exception itself: Exception joins the chain with a standard class of its own choice.
class TARN_EXPORT IException {
 public:
  virtual ~IException() = default;

  /// Narrow text of the failure in UTF-8; lives as long as the exception object.
  [[nodiscard]] virtual const char* what() const noexcept = 0;

 protected:
  IException() = default;
  IException(const IException&) = default;
  IException& operator=(const IException&) = default;
};

/// A failure whose text is meant for the user of the application, thus available as ustring.
class TARN_EXPORT IUserException : public IException {
 public:
  [[nodiscard]] i18n::ustring toUstring() const { return ToUstringImpl(); }

 protected:
  IUserException() = default;
  IUserException(const IUserException&) = default;
  IUserException& operator=(const IUserException&) = default;

  /// The conversions by which derived classes go between the user's text and `what`.
  [[nodiscard]] virtual std::string convert_str(const i18n::ustring& text) const { return i18n::to_string(text); }
  [[nodiscard]] virtual i18n::ustring convert_str(const std::string& text) const { return i18n::utf8_to_ustring(text); }

 private:
  [[nodiscard]] virtual i18n::ustring ToUstringImpl() const = 0;
};

/// A failure that is identified by a message of a catalogue.
class TARN_EXPORT IMsgIDException : public IUserException {
 public:
  IMsgIDException() = default;
  IMsgIDException(const IMsgIDException&) = default;
  IMsgIDException& operator=(const IMsgIDException&) = default;
  ~IMsgIDException() override = default;

  /// The whole text: identifier and the catalogue's sentence with the arguments filled in.
  [[nodiscard]] virtual i18n::ustring GetUnicodeMessageTxt() const = 0;

  /// Catalogue, identifier and arguments; lives as long as the exception object.
  [[nodiscard]] virtual const resource_core::BaseMsgID& getMsgID() const noexcept = 0;

  [[nodiscard]] const char* what() const noexcept override = 0;

 protected:
  /// The identifier of a message as text, such as "CannotCastIncompatibleTypes".
  [[nodiscard]] static std::string get_error_id(const resource_core::BaseMsgID& message) {
    return message.identifier();
  }

 private:
  [[nodiscard]] i18n::ustring ToUstringImpl() const override { return GetUnicodeMessageTxt(); }
};

/// The failure that message class `MsgId` describes, catchable as this very type, as IMsgIDException and as `StdBase`
/// (std::exception or a class derived from it that has a default constructor). `MsgId` derives from BaseMsgID and is
/// made from the constructor's arguments. Copying shares the content and cannot throw.
template <class MsgId, class StdBase>
class TARN_EXPORT Exception : public IMsgIDException, public StdBase {
  static_assert(std::is_base_of_v<resource_core::BaseMsgID, MsgId>, "the message class derives from BaseMsgID");
  static_assert(std::is_base_of_v<std::exception, StdBase>, "the standard base is a std::exception");

 public:
  explicit Exception(MsgId message) : fContent(std::make_shared<const Content>(makeContent(std::move(message)))) {}
  template <class... Args, class = std::enable_if_t<(sizeof...(Args) > 0) && std::is_constructible_v<MsgId, Args...> &&
                                                    !(std::is_same_v<std::decay_t<Args>, Exception> || ...)>>
  explicit Exception(Args&&... args) : Exception(MsgId(std::forward<Args>(args)...)) {}
  // No move constructor: a moved-from exception must keep its text, and a copy is one count.
  Exception(const Exception&) noexcept = default;
  Exception& operator=(const Exception&) noexcept = default;
  ~Exception() override = default;

  [[nodiscard]] const char* what() const noexcept override { return fContent->text.c_str(); }
  [[nodiscard]] i18n::ustring GetUnicodeMessageTxt() const override {
    return resource_core::messageText(fContent->message);
  }
  [[nodiscard]] const MsgId& getMsgID() const noexcept override { return fContent->message; }

 private:
  struct Content {
    MsgId message;
    std::string text;
  };
  static Content makeContent(MsgId message) {
    std::string text = i18n::to_string(resource_core::messageText(message));
    return Content{std::move(message), std::move(text)};
  }

  std::shared_ptr<const Content> fContent;
};

}  // namespace bedrock::except
