// ZRPreferencesKeys.cpp: the application's preference keys and the defaults it reads them with.
#include <ZRFramework/ZRFramework.h>

extern "C" {

const CFStringRef kZRPreferencesCheckAutomaticallyForUpdatesKey = CFSTR("ZRCheckAutomaticallyForUpdates");
const CFStringRef kZRPreferencesCheckCurrenciesIntervalKey = CFSTR("ZRCheckCurrenciesInterval");
const CFStringRef kZRPreferencesCheckQuotesIntervalKey = CFSTR("ZRCheckQuotesInterval");
const CFStringRef kZRPreferencesCurrencyTableColumnsKey = CFSTR("ZRCurrencyTableColumns");
const CFStringRef kZRPreferencesFloatTickerKey = CFSTR("ZRFloatTicker");
const CFStringRef kZRPreferencesFontSizeKey = CFSTR("ZRFontSize");
const CFStringRef kZRPreferencesHistoryEMAPopUpKey = CFSTR("ZRHistoryEMAPopUp");
const CFStringRef kZRPreferencesHistoryGraphTypePopUpKey = CFSTR("ZRHistoryGraphTypePopUp");
const CFStringRef kZRPreferencesHistoryMAPopUpKey = CFSTR("ZRHistoryMAPopUp");
const CFStringRef kZRPreferencesHistoryOverlayPopUpKey = CFSTR("ZRHistoryOverlayPopUp");
const CFStringRef kZRPreferencesHistoryRangePopUpKey = CFSTR("ZRHistoryRangePopUp");
const CFStringRef kZRPreferencesHistoryLinearKey = CFSTR("ZRHistoryLinear");
const CFStringRef kZRPreferencesInfoViewWidthKey = CFSTR("ZRInfoViewWidth");
const CFStringRef kZRPreferencesLastViewTypeKey = CFSTR("ZRLastViewType");
const CFStringRef kZRPreferencesDecimalPlacesTypeKey = CFSTR("ZRDecimalPlacesType");
const CFStringRef kZRPreferencesOnlyDisplayTradedStocksInTickerKey = CFSTR("ZROnlyDisplayTradedStocksInTicker");
const CFStringRef kZRPreferencesPortfolioBaseTypeKey = CFSTR("ZRPortfolioBaseType");
const CFStringRef kZRPreferencesPortfolioTableColumnsKey = CFSTR("ZRPortfolioTableColumns");
const CFStringRef kZRPreferencesQuoteTableColumnsKey = CFSTR("ZRQuoteTableColumns");
const CFStringRef kZRPreferencesShowInfoViewKey = CFSTR("ZRShowInfoView");
const CFStringRef kZRPreferencesTargetCurrencyKey = CFSTR("ZRTargetCurrency");
const CFStringRef kZRPreferencesTickerAppearanceKey = CFSTR("ZRTickerAppearance");
const CFStringRef kZRPreferencesTickerIsActiveKey = CFSTR("ZRTickerIsActive");
const CFStringRef kZRPreferencesTickerWindowTransparencyKey = CFSTR("ZRTickerWindowTransparency");
const CFStringRef kZRPreferencesYahooCountryKey = CFSTR("ZRYahooCountry");

const Boolean kZRDefaultCheckAutomaticallyForUpdates = true;
const int kZRDefaultCheckCurrenciesInterval = 2;
const int kZRDefaultCheckQuotesInterval = 2;
const Boolean kZRDefaultFloatTicker = false;
const float kZRDefaultFontSize = 12.0f;
const float kZRDefaultInfoViewWidth = 250.0f;
// Named after the view type, not the key "ZRLastViewType".
const int kZRDefaultViewType = 0;
const int kZRDefaultDecimalPlacesType = 0;
const Boolean kZRDefaultOnlyDisplayTradedStocksInTicker = false;
const int kZRDefaultPortfolioBaseType = 0;
const Boolean kZRDefaultShowInfoView = false;
const int kZRDefaultTargetCurrency = 140;
const int kZRDefaultTickerAppearance = 2;
const Boolean kZRDefaultTickerIsActive = false;
const float kZRDefaultTickerWindowTransparency = 1.0f;
const int kZRDefaultYahooCountry = 16;

// The narrowest the application lets its information view become.
const float kMinimumInfoViewWidth = 200.0f;

}  // extern "C"
