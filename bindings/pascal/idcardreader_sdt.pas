{ The standard reader interface as programs for readers with a security module declare it: each
  function with and without the iIfOpen argument, which the library ignores. Linked at load time. }
unit idcardreader_sdt;

{$ifdef FPC}{$mode delphi}{$endif}

interface

const
  IdcardreaderLibrary = {$ifdef MSWINDOWS}'idcardreader.dll'{$else}'idcardreader'{$endif};
  SDT_SUCCESS = $90;
  SDT_CARD_FOUND = $9F;

function SDT_OpenPort(iPort: Integer): Integer; cdecl; external IdcardreaderLibrary;
function SDT_ClosePort(iPort: Integer): Integer; cdecl; external IdcardreaderLibrary;

function SDT_StartFindIDCard(iPort: Integer; pucIIN: PByte): Integer; overload; cdecl;
  external IdcardreaderLibrary name 'SDT_StartFindIDCard';
function SDT_StartFindIDCard(iPort: Integer; pucIIN: PByte; iIfOpen: Integer): Integer; overload;
  cdecl; external IdcardreaderLibrary name 'SDT_StartFindIDCard';

function SDT_SelectIDCard(iPort: Integer; pucSN: PByte): Integer; overload; cdecl;
  external IdcardreaderLibrary name 'SDT_SelectIDCard';
function SDT_SelectIDCard(iPort: Integer; pucSN: PByte; iIfOpen: Integer): Integer; overload; cdecl;
  external IdcardreaderLibrary name 'SDT_SelectIDCard';

function SDT_ReadBaseMsg(iPort: Integer; pucCHMsg: PByte; var puiCHMsgLen: Cardinal;
  pucPHMsg: PByte; var puiPHMsgLen: Cardinal): Integer; overload; cdecl;
  external IdcardreaderLibrary name 'SDT_ReadBaseMsg';
function SDT_ReadBaseMsg(iPort: Integer; pucCHMsg: PByte; var puiCHMsgLen: Cardinal;
  pucPHMsg: PByte; var puiPHMsgLen: Cardinal; iIfOpen: Integer): Integer; overload; cdecl;
  external IdcardreaderLibrary name 'SDT_ReadBaseMsg';

function SDT_ReadBaseFPMsg(iPort: Integer; pucCHMsg: PByte; var puiCHMsgLen: Cardinal;
  pucPHMsg: PByte; var puiPHMsgLen: Cardinal; pucFPMsg: PByte; var puiFPMsgLen: Cardinal): Integer;
  overload; cdecl; external IdcardreaderLibrary name 'SDT_ReadBaseFPMsg';
function SDT_ReadBaseFPMsg(iPort: Integer; pucCHMsg: PByte; var puiCHMsgLen: Cardinal;
  pucPHMsg: PByte; var puiPHMsgLen: Cardinal; pucFPMsg: PByte; var puiFPMsgLen: Cardinal;
  iIfOpen: Integer): Integer; overload; cdecl; external IdcardreaderLibrary
  name 'SDT_ReadBaseFPMsg';

function CloseComm: Integer; cdecl; external IdcardreaderLibrary;

implementation

end.
