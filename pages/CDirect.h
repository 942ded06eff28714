#pragma once
// The Links page: the unit's eight link records in an editable list
// (CListDirect, with COneDirect for one record) and, below, the links the
// unit holds at this moment (CListStatusDirect), read live with askDirect.
// The records' field map, checks and writes live in DirectList (unit/).
//
// The page writes at once, from the dialog and from a deletion; KillActive
// has nothing left to write.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

#include <wx/listctrl.h>

#include <map>

class CDirect;
class wxButton;

// The link records; each row's item data is its record index, so that row
// order and record index may differ.
class CListDirect : public wxListCtrl {
public:
    CListDirect(CDirect* owner, wxWindow* parent);
    void Init() { ReInit(); }
    void ReInit();
    void OnInsertDirect();
    void OnUpdateDirect();
    void OnDeleteDirect();
    // The record index of the selected row, or -1.
    int SelectedIndex() const;

    bool m_Modified = false;   // never cleared: every later refresh enables Save
    int m_Max = 8;

private:
    void OpenDialog(int index);
    void OnRButtonDown(wxMouseEvent& event);
    void OnLButtonDblClk(wxMouseEvent& event);

    CDirect* m_Owner;
};

// The live links, in link-number order.
class CListStatusDirect : public wxListCtrl {
public:
    explicit CListStatusDirect(wxWindow* parent);
    void ReInit(const std::map<int, CDirectOne>& links);
};

class CDirect : public PropertySheetPanel {
public:
    // Builds the controls; Init has nothing left to do.
    explicit CDirect(wxWindow* parent);
    void Init() {}
    void SetActive() override;
    bool KillActive() override;
    // The last askDirect reply of a refresh has come: redraw the live list.
    void DataToPanel();
    void EnableButton();

    // The state of each link in use, by link number, from the askDirect replies.
    std::map<int, CDirectOne> m_StatusDirect;
    CListDirect* m_List = nullptr;
    CListStatusDirect* m_ListStatus = nullptr;
    wxButton* m_BtnInsert = nullptr;
    wxButton* m_BtnUpdate = nullptr;
    wxButton* m_BtnDelete = nullptr;
    wxButton* m_BtnRefresh = nullptr;
    bool m_Active = false;

private:
    void OnBnClickedDirectRefresh(wxCommandEvent& event);
    void OnRefrDirect(wxCommandEvent& event);
    void AfterEdit();
};
