package idcardreader;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** What one card holds. A field or block that the card does not have is empty. */
public final class Card {
  /** The types of card, in the order of the library's numbers. */
  public enum Type {
    RESIDENT,
    RESIDENCE_PERMIT,
    PERMANENT_OLD,
    PERMANENT_NEW;

    /** The library's number: 1 to 4. */
    public int number() {
      return ordinal() + 1;
    }
  }

  public final Type type;
  /** The chip's number in hexadecimal digits. */
  public final String dn;

  public final String name;
  public final String englishName;
  public final String sex;
  public final String nation;
  public final String country;
  public final String countryCode;
  /** YYYYMMDD, as are the two other dates. */
  public final String birthday;

  public final String address;
  public final String idNumber;
  public final String passNumber;
  public final String authority;
  public final String validFrom;
  /** A date, or a word that means "for ever". */
  public final String validUntil;

  public final byte[] textBlock;
  /** As the card holds it, compressed. */
  public final byte[] photo;

  public final byte[] fingerprint;

  /** All of the card that was read last; null when it was cleared before all was fetched. */
  static Card fetch(CardLibrary library) {
    Card card = new Card(library);
    return card.type == null ? null : card;
  }

  private Card(CardLibrary library) {
    byte[][] blocks = library.blocks();
    textBlock = blocks[0];
    photo = blocks[1];
    fingerprint = blocks[2];
    dn = library.utf8("readCardGetDN");
    name = library.gbk("GetPeopleName");
    englishName = library.utf8Field("GetNewPeopleNameEn");
    sex = library.gbk("GetPeopleSex");
    nation = library.gbk("GetPeopleNation");
    country = library.gbkField("GetNewPeopleCountry");
    countryCode = library.gbkField("GetNewPeopleCountryCode");
    birthday = library.utf8("GetPeopleBirthday");
    address = library.gbk("GetPeopleAddress");
    idNumber = library.utf8("GetPeopleIDCode");
    passNumber = library.utf8Field("GetNewPassNum");
    authority = library.gbk("GetDepartment");
    validFrom = library.utf8("GetStartDate");
    validUntil = library.gbk("GetEndDate");
    // Last: 0 when the fields were cleared meanwhile.
    int number = library.number("GetNewCardType");
    type = number == 0 ? null : Type.values()[number - 1];
  }

  /**
   * Writes the photo block to a file.
   *
   * @throws IllegalStateException when the card has no photo
   */
  public void savePhoto(Path file) throws IOException {
    if (photo.length == 0) {
      throw new IllegalStateException("The card has no photo.");
    }
    Files.write(file, photo);
  }
}
